#include <Telvora/Platform/Simulated/ScriptedFileManager.h>

#include <utility>

namespace telvora {

bool ScriptedFileManager::fileExists(const std::string& path) const
{
    m_probeObserver(path);
    return m_files.with([&](const Files& files) {
        return files.existing.contains(path) || files.written.contains(path);
    });
}

bool ScriptedFileManager::writeAtomically(const std::string& path, std::string_view text)
{
    std::string written(text);
    m_writeObserver(path, written);
    return m_files.with([&](Files& files) {
        if (!files.writable.contains(path))
            return false;
        files.written[path] = std::move(written);
        return true;
    });
}

void ScriptedFileManager::setExisting(std::set<std::string> paths)
{
    m_files.with([&](Files& files) { files.existing.swap(paths); });
}

void ScriptedFileManager::setWritable(std::set<std::string> paths)
{
    m_files.with([&](Files& files) { files.writable.swap(paths); });
}

std::optional<std::string> ScriptedFileManager::writtenText(const std::string& path) const
{
    return m_files.with([&](const Files& files) {
        const auto written = files.written.find(path);
        return written != files.written.end() ? std::optional(written->second) : std::nullopt;
    });
}

void ScriptedFileManager::setProbeObserver(std::function<void(const std::string& path)> observer)
{
    m_probeObserver.set(std::move(observer));
}

void ScriptedFileManager::setWriteObserver(
    std::function<void(const std::string& path, const std::string& text)> observer)
{
    m_writeObserver.set(std::move(observer));
}

} // namespace telvora
