#include <Telvora/Platform/Simulated/ScriptedApplication.h>

#include <utility>

namespace telvora {

bool ScriptedApplication::canOpenURL(const std::string& url) const
{
    m_openObserver(url);
    return m_openable.with([&](const auto& urls) { return urls.contains(url); });
}

void ScriptedApplication::setOpenableURLs(std::set<std::string> urls)
{
    m_openable.set(std::move(urls));
}

void ScriptedApplication::setOpenObserver(std::function<void(const std::string& url)> observer)
{
    m_openObserver.set(std::move(observer));
}

} // namespace telvora
