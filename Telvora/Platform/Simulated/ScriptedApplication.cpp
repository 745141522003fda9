#include <Telvora/Platform/Simulated/ScriptedApplication.h>

#include <utility>

namespace telvora {

bool ScriptedApplication::canOpenURL(const std::string& url) const
{
    m_openObserver(url);
    MutexLock lock(m_lock);
    return m_openable.contains(url);
}

void ScriptedApplication::setOpenableURLs(std::set<std::string> urls)
{
    MutexLock lock(m_lock);
    m_openable = std::move(urls);
}

void ScriptedApplication::setOpenObserver(std::function<void(const std::string& url)> observer)
{
    m_openObserver.set(std::move(observer));
}

} // namespace telvora
