#pragma once

#include <Telvora/Base/Export.h>
#include <Telvora/Base/ForkedChild.h>
#include <Telvora/Base/Guarded.h>
#include <Telvora/Platform/TimerSource.h>

#include <atomic>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>

namespace telvora {

/// The flush timer: calls one handler at a fixed interval, so that pending events are sent even
/// when their channel never reaches its limit.
///
/// Life: not running -> start() -> running <-> suspend()/resume(). Never cancelled; the owner keeps
/// it for the life of the process.
///
/// Threads: any. Each change of state is one critical section, so that the timer source is resumed
/// as often as it is suspended. The getters take no lock and may be one step behind. Ticks come on
/// the global default-priority queue, never two at once.
///
/// Deliberate: the interval does not grow after failed uploads. The retry limit bounds the traffic
/// already, and a longer interval would delay new events too.
class TELVORA_EXPORT TrackerTimer {
public:
    /// Seconds.
    static constexpr std::int64_t defaultPostInterval = 60;

    TrackerTimer();

    /// Begins ticking; the first tick comes one full interval from now. A second call replaces the
    /// handler and the interval begins again. `timeInterval` is in seconds; where it is absent, the
    /// current interval stays. An interval of 0 or less ticks as often as the platform's timer
    /// source does with an interval of 0.
    void start(std::optional<std::int64_t> timeInterval, std::function<void()> handler);

    /// Stops the ticks if the timer is running.
    void suspend();
    /// Continues if it is not running. If ticks were missed, one of them comes at once.
    void resume();

    /// Whether it ticks; false in a forked child.
    bool isRunning() const
    {
        return !detail::isForkedChild() && m_isRunning.load(std::memory_order_relaxed);
    }
    /// The interval in seconds, as it was given to start().
    std::int64_t postInterval() const { return m_postInterval.load(std::memory_order_relaxed); }

    /// Deliberate: always 0. Failures are not counted and change no interval.
    std::int64_t failureCount() const { return 0; }

private:
    friend class TrackerManager;

    // start() with a handler of the library's own. exit() does not wait for it: it waits for the
    // closures of the host that the handler calls.
    void startTicks(std::optional<std::int64_t> timeInterval, std::function<void()> handler);

    struct Ticking {
        // The source of the ticks; never null.
        std::unique_ptr<TimerSource> logTimer;
        // The handler that the source calls. Kept here so that the source does not destroy it.
        std::shared_ptr<const std::function<void()>> handler;
    };

    std::atomic<bool> m_isRunning { false };
    std::atomic<std::int64_t> m_postInterval { defaultPostInterval };
    detail::Guarded<Ticking> m_ticking;
};

} // namespace telvora
