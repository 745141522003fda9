#pragma once

#include <Telvora/Base/Export.h>
#include <Telvora/Base/Guarded.h>
#include <Telvora/Platform/TimerSource.h>

#include <atomic>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>

namespace telvora {

/// The library's pulse: calls one handler at a fixed interval, so that pending events go out even
/// when no channel ever fills up.
///
/// Life: not running -> start() -> running <-> suspend()/resume(). Never cancelled; the owner keeps
/// it for the length of the process.
///
/// Threads: any. A change of state is one step, so that suspends and resumes of the source stay in
/// balance also when a start meets a move of the application; the readings take no lock and can be
/// one step behind. Ticks come on the global default-priority queue, never two at once.
///
/// Deliberate: the interval does not grow after failed uploads. The retry limit bounds the traffic
/// already, and a longer interval would delay fresh events too.
class TELVORA_EXPORT TrackerTimer {
public:
    /// Seconds.
    static constexpr std::int64_t defaultPostInterval = 60;

    TrackerTimer();

    /// Begins ticking; the first tick comes one full interval from now. A second call replaces the
    /// handler and counts the interval afresh. `timeInterval` is in seconds; without it the current
    /// interval stays. One of 0 or less is kept as it is, and ticks as often as the platform's
    /// timers do without an interval.
    void start(std::optional<std::int64_t> timeInterval, std::function<void()> handler);

    /// Stops the ticks if it is running.
    void suspend();
    /// Lets them go on if it is not. At most one missed tick comes at once.
    void resume();

    bool isRunning() const { return m_isRunning.load(std::memory_order_relaxed); }
    std::int64_t postInterval() const { return m_postInterval.load(std::memory_order_relaxed); }

    /// Deliberate: always 0. It is there to be read; nothing counts up, and nothing backs off.
    std::int64_t failureCount() const { return 0; }

private:
    struct Ticking {
        std::unique_ptr<TimerSource> logTimer;
        // The one that the source calls, kept so that its end does not come inside the source.
        std::shared_ptr<const std::function<void()>> handler;
    };

    std::atomic<bool> m_isRunning { false };
    std::atomic<std::int64_t> m_postInterval { defaultPostInterval };
    detail::Guarded<Ticking> m_ticking;
};

} // namespace telvora
