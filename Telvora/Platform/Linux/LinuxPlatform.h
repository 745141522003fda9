#pragma once

#include <Telvora/Base/Dictionary.h>
#include <Telvora/Platform/Curl/CurlHTTPClient.h>
#include <Telvora/Platform/Dispatch/ThreadedDispatch.h>
#include <Telvora/Platform/Host/HostLifeCycleChecker.h>
#include <Telvora/Platform/Host/HostNotificationCenter.h>
#include <Telvora/Platform/Host/HostScreenHierarchy.h>
#include <Telvora/Platform/Host/HostTelephony.h>
#include <Telvora/Platform/Linux/MainScreen.h>
#include <Telvora/Platform/Platform.h>

#include <functional>
#include <memory>
#include <optional>
#include <string>

namespace telvora {

/// What only the host knows. Everything may be left out.
struct LinuxPlatformOptions {
    /// For people; without one, the name of the running program.
    std::optional<std::string> applicationName {};
    /// "1.4.2"; reported as absent without one.
    std::optional<std::string> applicationVersion {};
    /// "com.example.host"; reported as absent without one.
    std::optional<std::string> applicationIdentifier {};
    /// More entries for Bundle::objectForInfoDictionaryKey(); they go before the three above.
    Dictionary infoDictionary {};

    /// Hands work to the host's main thread, which then runs it in the order it came. Called on any
    /// thread. Without one, that work runs on the global queue.
    std::function<void(Work)> mainThread {};
    /// The main screen as the host's toolkit knows it; without one, as the kernel does.
    std::optional<MainScreen> screen {};
    /// The window that has the user's input; without one there are no screens to see.
    HostScreenHierarchy::KeyWindowSupplier keyWindow {};

    CurlHTTPOptions http {};

    /// Put before the paths of /sys, /proc, /etc and the desktop's registers when the machine is
    /// read; for tests. Files that the library is asked for are never looked up below it.
    std::string root {};
};

/// The services of a Linux machine, ready for installPlatform().
///
/// Life: making it starts no thread and reads next to nothing; each service does its work when it
/// is first asked. An installed one must live to the end of the process.
///
/// Threads: services() and the accessors from any thread; the services as their headers say.
class TELVORA_EXPORT LinuxPlatform {
public:
    explicit LinuxPlatform(LinuxPlatformOptions options = {});
    ~LinuxPlatform();

    LinuxPlatform(const LinuxPlatform&) = delete;
    LinuxPlatform& operator=(const LinuxPlatform&) = delete;

    Platform& services();

    ThreadedDispatch& dispatch();
    CurlHTTPClient& httpClient();
    /// The host posts its moves to the background and back here.
    HostNotificationCenter& notificationCenter();
    HostLifeCycleChecker& lifeCycleChecker();
    HostScreenHierarchy& screens();
    HostTelephony& telephony();

private:
    struct Services;

    const std::unique_ptr<Services> m_services;
};

} // namespace telvora
