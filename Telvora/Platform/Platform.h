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

/// The installed set; without one the default of the system's library, made on first use and never
/// destroyed. A program that has neither stops with "No platform is installed".
TELVORA_EXPORT Platform& platform();

} // namespace telvora

/// The default set. The library of a system defines it, as telvora_linux does. A program that links
/// the core alone has none.
extern "C" TELVORA_EXPORT telvora::Platform* telvoraDefaultPlatform();
