#pragma once

#include <chrono>
#include <optional>

namespace telvora::detail {

/// When the GUI thread began with what it is doing: with the first event after it had nothing to
/// do. Work for a frame begins there, not with the request for the frame: a user who pressed a
/// button waits for all of it.
///
/// Qt says that the thread waits also when it only looks for further events (its event loop of GLib
/// does so every time), and lets a frame that was asked for wait for some milliseconds. So a wait
/// that is next to nothing is none, and long work shortly before counts as work for the frame.
///
/// Threads: the GUI thread.
class BusyTime {
public:
    using Clock = std::chrono::steady_clock;
    using Time = Clock::time_point;

    /// An event is to be delivered. Reads the clock for the first one after a wait alone.
    void eventComes()
    {
        if (m_began == Time() || m_waitsSince)
            eventComes(Clock::now());
    }
    void eventComes(Time now)
    {
        if (m_began == Time()) {
            m_began = now;
        } else if (m_waitsSince && now - *m_waitsSince >= shortestWait) {
            if (*m_waitsSince - m_began >= longWork)
                m_lastLong = { .began = m_began, .ended = *m_waitsSince };
            m_began = now;
        }
        m_waitsSince.reset();
    }

    /// The thread is about to wait for events.
    void waits() { waits(Clock::now()); }
    void waits(Time now)
    {
        if (!m_waitsSince)
            m_waitsSince = now;
    }

    /// When the work for what is shown now began. Called while an event is delivered.
    Time began()
    {
        eventComes();
        return m_began - m_lastLong.ended < longestDelay ? m_lastLong.began : m_began;
    }

private:
    struct Work {
        Time began {};
        Time ended {};
    };

    static constexpr std::chrono::milliseconds shortestWait { 1 };
    // As long as a frame at 60 Hz. Shorter work delays no frame by itself.
    static constexpr std::chrono::milliseconds longWork { 16 };
    // Between the request for a frame and the work for it. Qt waits 5 ms where nothing tells it of
    // the screen's rhythm, and a frame at 60 Hz where something does.
    static constexpr std::chrono::milliseconds longestDelay { 20 };

    // None before the first event.
    Time m_began {};
    std::optional<Time> m_waitsSince {};
    Work m_lastLong {};
};

} // namespace telvora::detail
