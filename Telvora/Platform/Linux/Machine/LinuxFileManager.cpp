#include <Telvora/Platform/Linux/Machine/LinuxFileManager.h>

#include <atomic>
#include <cerrno>
#include <cstdio>
#include <utility>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace telvora::detail {

namespace {

// A name in the folder of `path` that no other writer uses, in this process or another.
std::string temporaryName(const std::string& path)
{
    static std::atomic<unsigned> s_count { 0 };

    const auto slash = path.rfind('/');
    const auto start = slash == std::string::npos ? 0 : slash + 1;
    return path.substr(0, start) + ".telvora-" + std::to_string(::getpid()) + "-"
        + std::to_string(s_count.fetch_add(1, std::memory_order_relaxed));
}

// Makes a new file with the process's default permissions.
int createTemporary(const std::string& path, std::string& name)
{
    // A process that was killed may have left a file of that name.
    static constexpr int attempts = 16;

    for (int attempt = 0; attempt < attempts; ++attempt) {
        name = temporaryName(path);
        const int descriptor = ::open(name.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0666);
        if (descriptor >= 0 || errno != EEXIST)
            return descriptor;
    }
    return -1;
}

bool writeAll(int descriptor, std::string_view text)
{
    while (!text.empty()) {
        const ssize_t count = ::write(descriptor, text.data(), text.size());
        if (count < 0 && errno == EINTR)
            continue;
        if (count <= 0)
            return false;
        text.remove_prefix(static_cast<std::size_t>(count));
    }
    return true;
}

// The system reads a path only up to a NUL, and would find another file.
bool isPath(const std::string& path)
{
    return !path.empty() && path.find('\0') == std::string::npos;
}

} // namespace

LinuxFileManager::LinuxFileManager(std::string root)
    : m_root(std::move(root))
{
}

bool LinuxFileManager::fileExists(const std::string& path) const
{
    struct stat status;
    return isPath(path) && ::stat((m_root + path).c_str(), &status) == 0;
}

bool LinuxFileManager::writeAtomically(const std::string& path, std::string_view text)
{
    if (!isPath(path))
        return false;

    const std::string target = m_root + path;
    std::string name;
    const int descriptor = createTemporary(target, name);
    if (descriptor < 0)
        return false;

    const bool isWritten = writeAll(descriptor, text);
    const bool isClosed = ::close(descriptor) == 0;
    if (isWritten && isClosed && std::rename(name.c_str(), target.c_str()) == 0)
        return true;
    ::unlink(name.c_str());
    return false;
}

} // namespace telvora::detail
