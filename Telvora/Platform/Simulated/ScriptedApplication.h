#pragma once

#include <Telvora/Base/Guarded.h>
#include <Telvora/Platform/Application.h>
#include <Telvora/Platform/Simulated/Observer.h>

#include <functional>
#include <set>
#include <string>

namespace telvora {

/// An Application that can open exactly the URLs that the test names; none at the start.
///
/// Threads: any.
class TELVORA_EXPORT ScriptedApplication final : public Application {
public:
    bool canOpenURL(const std::string& url) const override;

    /// Replaces the URLs that can be opened. They are compared as texts.
    void setOpenableURLs(std::set<std::string> urls);

    /// Called for each canOpenURL(), whatever its result.
    void setOpenObserver(std::function<void(const std::string& url)> observer);

private:
    Observer<const std::string&> m_openObserver;
    detail::Guarded<std::set<std::string>> m_openable;
};

} // namespace telvora
