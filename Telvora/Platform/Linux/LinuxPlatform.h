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

/// Facts that only the host knows. Every member is optional.
struct LinuxPlatformOptions {
    /// The application's name, as users know it. Absent: the name of the running program, as in
    /// /proc/self/comm.
    std::optional<std::string> applicationName {};
    /// The application's version: "1.4.2". Absent: reported as absent.
    std::optional<std::string> applicationVersion {};
    /// The application's identifier: "com.example.host". Absent: reported as absent.
    std::optional<std::string> applicationIdentifier {};
    /// More entries for Bundle::objectForInfoDictionaryKey(). There "CFBundleName",
    /// "CFBundleShortVersionString" and "CFBundleIdentifier" replace the three above;
    /// Bundle::bundleIdentifier() still returns `applicationIdentifier`. Empty: no more entries.
    Dictionary infoDictionary {};

    /// Submits work to the host's main thread, which must run it in the order of the calls. Called
    /// on any thread. Empty: that work runs on the global queue.
    std::function<void(Work)> mainThread {};
    /// The main screen as the host's toolkit knows it. Absent: the kernel's description, with one
    /// point per pixel.
    std::optional<MainScreen> screen {};
    /// Returns the window that has the user's input. Called on the main thread. Empty: there is no
    /// key window, so no page is reported.
    HostScreenHierarchy::KeyWindowSupplier keyWindow {};

    /// The options of the HTTP client; each has its own default.
    CurlHTTPOptions http {};

    /// For tests: a path prefix for /sys, /proc, /etc and the desktop's lists of applications.
    /// Empty: the running system. The FileManager does not use it.
    std::string root {};
};

/// The services of a Linux machine, ready for installPlatform().
///
/// Life: the constructor starts no thread and reads one small file at most; each service does its
/// work on first use. An installed platform must live to the end of the process.
///
/// Threads: services() and the accessors from any thread; the services as their headers say.
class TELVORA_EXPORT LinuxPlatform {
public:
    /// The services, as `options` want them.
    explicit LinuxPlatform(LinuxPlatformOptions options = {});
    ~LinuxPlatform();

    LinuxPlatform(const LinuxPlatform&) = delete;
    LinuxPlatform& operator=(const LinuxPlatform&) = delete;

    /// The services, for installPlatform().
    Platform& services();
    /// The queues and timers, for waitUntilIdle().
    ThreadedDispatch& dispatch();
    /// The HTTP client, for inFlight().
    CurlHTTPClient& httpClient();
    /// The host posts here when it enters the background or returns to the foreground.
    HostNotificationCenter& notificationCenter();
    /// The host's toolkit makes its adaptors here. Makes none while no factory is registered.
    HostLifeCycleChecker& lifeCycleChecker();
    /// The host may replace the supplier of the key window here.
    HostScreenHierarchy& screens();
    /// The host publishes its cellular services here. Until then they are absent.
    HostTelephony& telephony();

private:
    struct Services;

    std::unique_ptr<Services> m_services;
};

} // namespace telvora
