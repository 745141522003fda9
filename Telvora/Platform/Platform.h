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

/// All that the library asks of a system, one service each.
///
/// Life: made by whoever assembles the process and installed before the library is first used;
/// it must live to the end of the process.
struct Platform {
    Application& application;
    Bundle& bundle;
    Clock& clock;
    Device& device;
    Dispatch& dispatch;
    FileManager& fileManager;
    HTTPClient& httpClient;
    LifeCycleChecker& lifeCycleChecker;
    NotificationCenter& notificationCenter;
    ReachabilityService& reachability;
    ScreenHierarchy& screens;
    Telephony& telephony;
    UUIDSource& uuids;
};

/// Installs the set that platform() answers with from now on. Comes before anything else of the
/// library, from one thread; a second set, or one after first use, stops the process.
TELVORA_EXPORT void installPlatform(Platform& set);

/// The installed set; without one the system's own, made on first use and never destroyed.
TELVORA_EXPORT Platform& platform();

/// The set of the system that the library was built for. Defined in that system's folder.
Platform& systemPlatform();

} // namespace telvora
