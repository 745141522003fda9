#include <Telvora/Platform/Linux/Machine/SystemFiles.h>

#include <algorithm>
#include <cerrno>
#include <utility>

#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace telvora::detail {

namespace {

/// An assignment's right side as a shell would read it. Only what os-release allows: one quoted or
/// bare word, with backslashes before the characters that are special between double quotes.
std::string unquoted(std::string_view text)
{
    const bool isQuoted = text.size() >= 2 && (text.front() == '"' || text.front() == '\'')
        && text.back() == text.front();
    if (!isQuoted)
        return std::string(text);

    const char quote = text.front();
    text = text.substr(1, text.size() - 2);
    std::string value;
    for (std::size_t index = 0; index < text.size(); ++index) {
        const bool isEscape = quote == '"' && text[index] == '\\' && index + 1 < text.size();
        if (isEscape)
            ++index;
        value += text[index];
    }
    return value;
}

} // namespace

std::string_view trimmed(std::string_view text)
{
    static constexpr std::string_view blanks = " \t\r\n\v\f";

    const auto first = text.find_first_not_of(blanks);
    if (first == std::string_view::npos)
        return {};
    return text.substr(first, text.find_last_not_of(blanks) - first + 1);
}

std::string_view nextLine(std::string_view& rest)
{
    const auto end = rest.find('\n');
    const auto line = rest.substr(0, end);
    rest.remove_prefix(end == std::string_view::npos ? rest.size() : end + 1);
    return line;
}

std::optional<std::string> firstLine(std::string_view text)
{
    const auto line = trimmed(text.substr(0, text.find_first_of(std::string_view("\0\n", 2))));
    return line.empty() ? std::nullopt : std::optional(std::string(line));
}

SystemFiles::SystemFiles(std::string root)
    : m_root(std::move(root))
{
}

std::string SystemFiles::below(std::string_view path) const
{
    std::string full = m_root;
    full += path;
    return full;
}

bool SystemFiles::exists(std::string_view path) const
{
    struct stat status;
    return ::stat(below(path).c_str(), &status) == 0;
}

std::optional<std::string> SystemFiles::contents(
    std::string_view path, std::size_t limitBytes) const
{
    // Not blocking, in case the path is a pipe.
    const int descriptor = ::open(below(path).c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK);
    if (descriptor < 0)
        return std::nullopt;

    std::string text;
    char buffer[4096];
    for (;;) {
        const ssize_t count = ::read(descriptor, buffer, sizeof buffer);
        if (count < 0 && errno == EINTR)
            continue;
        if (count > 0 && text.size() + static_cast<std::size_t>(count) <= limitBytes) {
            text.append(buffer, static_cast<std::size_t>(count));
            continue;
        }
        ::close(descriptor);
        if (count != 0)
            return std::nullopt;
        return text;
    }
}

std::optional<std::string> SystemFiles::firstLine(std::string_view path) const
{
    const auto text = contents(path);
    return text ? detail::firstLine(*text) : std::nullopt;
}

std::optional<std::string> SystemFiles::assignment(
    std::string_view path, std::string_view key) const
{
    const auto text = contents(path);
    if (!text)
        return std::nullopt;

    // The last assignment wins, as it would in a shell.
    std::optional<std::string> value;
    std::string_view rest = *text;
    while (!rest.empty()) {
        const auto line = trimmed(nextLine(rest));
        const bool isOurs = line.size() > key.size() && line.substr(0, key.size()) == key
            && line[key.size()] == '=';
        if (isOurs)
            value = unquoted(line.substr(key.size() + 1));
    }
    if (value && value->empty())
        return std::nullopt;
    return value;
}

std::vector<std::string> SystemFiles::namesIn(std::string_view path) const
{
    std::vector<std::string> names;
    DIR* folder = ::opendir(below(path).c_str());
    if (!folder)
        return names;
    while (const dirent* entry = ::readdir(folder)) {
        const std::string_view name = entry->d_name;
        if (name != "." && name != "..")
            names.emplace_back(name);
    }
    ::closedir(folder);
    std::sort(names.begin(), names.end());
    return names;
}

} // namespace telvora::detail
