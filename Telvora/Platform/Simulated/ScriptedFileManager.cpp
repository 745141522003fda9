#include <Telvora/Platform/Simulated/ScriptedFileManager.h>

#include <utility>

namespace telvora {

bool ScriptedFileManager::fileExists(const std::string& path) const
{
    m_probeObserver(path);
    MutexLock lock(m_lock);
    return m_existing.contains(path) || m_written.contains(path);
}

bool ScriptedFileManager::writeAtomically(const std::string& path, std::string_view text)
{
    std::string written(text);
    m_writeObserver(path, written);
    MutexLock lock(m_lock);
    if (!m_writable.contains(path))
        return false;
    m_written[path] = std::move(written);
    return true;
}

void ScriptedFileManager::setExisting(std::set<std::string> paths)
{
    MutexLock lock(m_lock);
    m_existing = std::move(paths);
}

void ScriptedFileManager::setWritable(std::set<std::string> paths)
{
    MutexLock lock(m_lock);
    m_writable = std::move(paths);
}

std::optional<std::string> ScriptedFileManager::writtenText(const std::string& path) const
{
    MutexLock lock(m_lock);
    const auto written = m_written.find(path);
    return written != m_written.end() ? std::optional(written->second) : std::nullopt;
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
