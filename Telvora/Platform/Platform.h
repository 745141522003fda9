#pragma once

#include <Telvora/Base/Export.h>

namespace telvora {

class Application;
class Bundle;
class Clock;
class Device;
class Dispatch;
class FileManager;
class HTTPClient;
class LifeCycleChecker;
class NotificationCenter;
class ReachabilityService;
class ScreenHierarchy;
class Telephony;
class UUIDSource;

/// The services of a system that the library needs. Each service's header names the classes that
/// use it.
///
/// Life: the host makes the set and installs it before the first use of the library, or takes the
/// default set. It must live to the end of the process; only tests can take a set down, that of a
/// SimulatedPlatform.
struct Platform {
    /// Which URLs programs on the device can open.
    Application& application;
    /// What the host says of itself: name, version, identifier.
    Bundle& bundle;
    /// Calendar time and steady time.
    Clock& clock;
    /// The device and its main screen.
    Device& device;
    /// Queues, and the main queue.
    Dispatch& dispatch;
    /// Looks for files and writes them.
    FileManager& fileManager;
    /// Sends the batches.
    HTTPClient& httpClient;
    /// Knows when screens appear and disappear.
    LifeCycleChecker& lifeCycleChecker;
    /// Tells of background and foreground.
    NotificationCenter& notificationCenter;
    /// Makes objects that know the network.
    ReachabilityService& reachability;
    /// The screens that the user sees.
    ScreenHierarchy& screens;
    /// The cellular services.
    Telephony& telephony;
    /// New UUIDs.
    UUIDSource& uuids;
};

/// Installs `set`: platform() returns it from now on. Call it before anything else of the library,
/// on one thread. A second call, or a call after the first use of the library, stops the process.
TELVORA_EXPORT void installPlatform(Platform& set);

/// The installed set. If none was installed: the default set of the system's library, made on first
/// use and never destroyed. A program that has neither stops with "No platform is installed".
TELVORA_EXPORT Platform& platform();

namespace detail {

/// The set that is in use; null as long as none is.
TELVORA_EXPORT Platform* usedPlatform() noexcept;

/// Installs `set` unless another set is in use. Returns whether `set` is in use now.
TELVORA_EXPORT bool tryInstallPlatform(Platform& set) noexcept;
/// Whether `set` is the installed one. Makes no default set.
TELVORA_EXPORT bool isInstalled(const Platform& set);

} // namespace detail

} // namespace telvora

/// Makes the default set. Defined by the library of a system, as telvora_linux. A program that
/// links only the core has none.
extern "C" TELVORA_EXPORT telvora::Platform* telvoraDefaultPlatform();
