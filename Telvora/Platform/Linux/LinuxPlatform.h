#pragma once

#include <Telvora/Platform/Dispatch/ThreadedDispatch.h>
#include <Telvora/Platform/Linux/LinuxApplication.h>
#include <Telvora/Platform/Linux/LinuxBundle.h>
#include <Telvora/Platform/Linux/LinuxClock.h>
#include <Telvora/Platform/Linux/LinuxDevice.h>
#include <Telvora/Platform/Linux/LinuxFileManager.h>
#include <Telvora/Platform/Linux/LinuxHTTPClient.h>
#include <Telvora/Platform/Linux/LinuxLifeCycleChecker.h>
#include <Telvora/Platform/Linux/LinuxNotificationCenter.h>
#include <Telvora/Platform/Linux/LinuxReachability.h>
#include <Telvora/Platform/Linux/LinuxScreenHierarchy.h>
#include <Telvora/Platform/Linux/LinuxTelephony.h>
#include <Telvora/Platform/Linux/LinuxUUIDSource.h>
#include <Telvora/Platform/Platform.h>

#include <functional>
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
    std::optional<LinuxDevice::Screen> screen {};
    /// The window that has the user's input; without one there are no screens to see.
    LinuxScreenHierarchy::KeyWindowSupplier keyWindow {};

    LinuxHTTPOptions http {};

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

    LinuxPlatform(const LinuxPlatform&) = delete;
    LinuxPlatform& operator=(const LinuxPlatform&) = delete;

    Platform& services() { return m_services; }

    ThreadedDispatch& dispatch() { return m_dispatch; }
    LinuxHTTPClient& httpClient() { return m_httpClient; }
    /// The host posts its moves to the background and back here.
    LinuxNotificationCenter& notificationCenter() { return m_notificationCenter; }
    LinuxLifeCycleChecker& lifeCycleChecker() { return m_lifeCycleChecker; }
    LinuxScreenHierarchy& screens() { return m_screens; }
    LinuxTelephony& telephony() { return m_telephony; }

private:
    // The others may submit work for as long as they live, so it goes last.
    ThreadedDispatch m_dispatch;
    LinuxClock m_clock;
    LinuxApplication m_application;
    LinuxBundle m_bundle;
    LinuxDevice m_device;
    LinuxFileManager m_fileManager;
    LinuxHTTPClient m_httpClient;
    LinuxLifeCycleChecker m_lifeCycleChecker;
    LinuxNotificationCenter m_notificationCenter;
    LinuxReachability m_reachability;
    LinuxScreenHierarchy m_screens;
    LinuxTelephony m_telephony;
    LinuxUUIDSource m_uuids;
    Platform m_services;
};

} // namespace telvora
