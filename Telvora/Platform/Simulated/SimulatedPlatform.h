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
///     static auto& simulated = *new telvora::SimulatedPlatform;
///     telvora::installPlatform(simulated.services());
///     simulated.httpClient().setAnswers({ telvora::ScriptedAnswer::body(R"({"success": 1})") });
///     telvora::TrackerManager::start();
///     ...
///     simulated.advance(60s);
///
/// Life: an installed platform must live to the end of the process, as the library's shared objects
/// do; hence the `new` without a delete. Install one per process.
///
/// Threads: the thread that makes it drives it (ManualDispatch has the details).
///
/// Failure: none of its own.
class TELVORA_EXPORT SimulatedPlatform {
public:
    /// With a seed other than 0, blocks that may run side by side run in another legal order.
    explicit SimulatedPlatform(std::uint64_t seed = 0);
    ~SimulatedPlatform();

    SimulatedPlatform(const SimulatedPlatform&) = delete;
    SimulatedPlatform& operator=(const SimulatedPlatform&) = delete;

    /// For installPlatform().
    Platform& services() { return m_services; }

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
};

} // namespace telvora
