#pragma once

#include <Telvora/Base/Export.h>
#include <Telvora/Platform/Platform.h>
#include <Telvora/Platform/Simulated/ManualClock.h>
#include <Telvora/Platform/Simulated/ManualDispatch.h>
#include <Telvora/Platform/Simulated/RecordingNotificationCenter.h>
#include <Telvora/Platform/Simulated/ScriptedApplication.h>
#include <Telvora/Platform/Simulated/ScriptedBundle.h>
#include <Telvora/Platform/Simulated/ScriptedDevice.h>
#include <Telvora/Platform/Simulated/ScriptedFileManager.h>
#include <Telvora/Platform/Simulated/ScriptedHTTPClient.h>
#include <Telvora/Platform/Simulated/ScriptedLifeCycleChecker.h>
#include <Telvora/Platform/Simulated/ScriptedReachability.h>
#include <Telvora/Platform/Simulated/ScriptedScreenHierarchy.h>
#include <Telvora/Platform/Simulated/ScriptedTelephony.h>
#include <Telvora/Platform/Simulated/SeededUUIDSource.h>

#include <chrono>
#include <cstddef>
#include <cstdint>

namespace telvora {

/// A whole platform that the test controls: the test moves time, runs blocks, and sets the network,
/// the device and the screens. The same calls with the same seed give the same run, UUIDs included.
///
///     telvora::SimulatedPlatform simulated;
///     telvora::installPlatform(simulated.services());
///     simulated.httpClient().setAnswers({ telvora::ScriptedAnswer::body(R"({"success": 1})") });
///     telvora::TrackerManager::start();
///     ...
///     simulated.advance(60s);
///
/// Life: made -> installPlatform() -> takeDown(), which the destructor calls. Then another one can
/// be installed in the same process, and behaves as the first one in a new process.
///
/// Threads: the thread that makes it drives it (ManualDispatch has the details). While a platform
/// is taken down, no other thread may be inside the library.
///
/// Failure: none of its own; takeDown() says how misuse ends.
class TELVORA_EXPORT SimulatedPlatform {
public:
    /// With a seed other than 0, blocks that may run side by side run in another legal order.
    explicit SimulatedPlatform(std::uint64_t seed = 0);
    /// Takes the platform down if it is installed. exit(), once it has begun to call the handlers
    /// of the library, and a forked child leave it installed.
    ~SimulatedPlatform();

    SimulatedPlatform(const SimulatedPlatform&) = delete;
    SimulatedPlatform& operator=(const SimulatedPlatform&) = delete;

    /// For installPlatform(). After takeDown() it stops the process: make another platform.
    Platform& services();

    /// Makes the library as it was before installPlatform(): no platform is installed, shared
    /// objects will be made anew, what was computed once will be computed again, settings have
    /// their first values, and the closures, channels and services that the host gave are released.
    /// Blocks that have not run and requests without an answer are dropped; no closure is called.
    ///
    /// Until another platform is installed, a call that needs one stops the process with a message:
    /// TrackerManager::shared() and most static functions. A program that links Telvora::linux too
    /// gets that platform instead.
    ///
    /// The old shared objects stay allocated. References to them stay valid, and calls on the old
    /// TrackerManager do nothing. A TrackerConfig belongs to the platform that it was made on:
    /// to register it later stops the process. Of this object, what the services
    /// recorded can still be read.
    ///
    /// If this platform is not the installed one, or when called from a block, a closure or an
    /// observer, it stops the process with a message. In a forked child in which the library is
    /// inert it does nothing.
    ///
    /// Exit and fork handlers belong to the process: a library that was used once counts as used
    /// for the next fork().
    void takeDown();

    /// These forward to dispatch(), which describes them.
    void advance(std::chrono::nanoseconds step) { m_dispatch.advance(step); }
    /// ManualDispatch::runUntilIdle().
    void runUntilIdle() { m_dispatch.runUntilIdle(); }
    /// ManualDispatch::runNext().
    bool runNext() { return m_dispatch.runNext(); }
    /// ManualDispatch::step().
    std::size_t step(std::size_t count = 1) { return m_dispatch.step(count); }
    /// ManualDispatch::setHold().
    void setHold(bool isHeld) { m_dispatch.setHold(isHeld); }
    /// Sets calendar time only, in seconds since 1970-01-01 UTC.
    void setWallTime(double secondsSince1970) { m_clock.setWallTime(secondsSince1970); }

    /// Which URLs can be opened.
    ScriptedApplication& application() { return m_application; }
    /// What the host says of itself.
    ScriptedBundle& bundle() { return m_bundle; }
    /// Both clocks.
    ManualClock& clock() { return m_clock; }
    /// The device.
    ScriptedDevice& device() { return m_device; }
    /// Queues, timers and time.
    ManualDispatch& dispatch() { return m_dispatch; }
    /// Which files there are.
    ScriptedFileManager& fileManager() { return m_fileManager; }
    /// Answers, and the requests that were sent.
    ScriptedHTTPClient& httpClient() { return m_httpClient; }
    /// Plays the life of screens.
    ScriptedLifeCycleChecker& lifeCycleChecker() { return m_lifeCycleChecker; }
    /// Posts notifications, and knows who observes.
    RecordingNotificationCenter& notificationCenter() { return m_notificationCenter; }
    /// The network.
    ScriptedReachability& reachability() { return m_reachability; }
    /// The screens.
    ScriptedScreenHierarchy& screens() { return m_screens; }
    /// The cellular services.
    ScriptedTelephony& telephony() { return m_telephony; }
    /// The UUIDs, from the seed.
    SeededUUIDSource& uuids() { return m_uuids; }

    /// Called, in order, for each question of the library to the bundle, the device, the life-cycle
    /// checker, reachability, the screens and telephony. Replaces the question observers of these
    /// six; an empty function ends the observation. The other services have observers of their own
    /// or none.
    void setQuestionObserver(const QuestionObserver::Function& observer);

private:
    void removeObservers();

    ManualClock m_clock;
    ManualDispatch m_dispatch;
    ScriptedApplication m_application;
    ScriptedBundle m_bundle;
    ScriptedDevice m_device;
    ScriptedFileManager m_fileManager;
    ScriptedHTTPClient m_httpClient;
    ScriptedLifeCycleChecker m_lifeCycleChecker;
    RecordingNotificationCenter m_notificationCenter;
    ScriptedReachability m_reachability;
    ScriptedScreenHierarchy m_screens;
    ScriptedTelephony m_telephony;
    SeededUUIDSource m_uuids;
    Platform m_services;
    bool m_isTakenDown = false;
};

} // namespace telvora
