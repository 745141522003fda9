#pragma once

#include <Telvora/Base/Mutex.h>
#include <Telvora/Platform/Dispatch/StartThread.h>

#include <chrono>
#include <condition_variable>
#include <memory>
#include <thread>

namespace telvora::detail {

using SteadyTime = std::chrono::steady_clock::time_point;

/// `delay` from now; the last instant that the clock can express where that is later.
SteadyTime steadyTimeAfter(std::chrono::nanoseconds delay);

/// Something that is due at a time. Carries its own place in the timer thread's list, so that
/// arming it needs no memory and cannot fail.
struct Deadline {
    virtual ~Deadline() = default;

    /// Called on the timer thread, which it must not hold up.
    virtual void come() noexcept = 0;

private:
    friend class TimerThread;

    SteadyTime m_time;
    std::shared_ptr<Deadline> m_next;
};

/// One thread, "telvora-timer", that sleeps until the earliest of all deadlines and tells those
/// that have come. There are a handful at a time, so they are a sorted list.
///
/// Life: shared by the dispatch, its timers and the thread, which starts with the first deadline
/// and ends after retire(), once no deadline is left.
/// Threads: every operation from any thread. In a forked child deadlines are dropped.
/// Failure: where the system refuses the thread, the next deadline tries again.
class TimerThread : public std::enable_shared_from_this<TimerThread> {
public:
    explicit TimerThread(StartThread startThread);

    /// Has `deadline` come once, no earlier than at `time`. Requires: it is not armed.
    void arm(std::shared_ptr<Deadline> deadline, SteadyTime time) TELVORA_EXCLUDES(m_lock);

    /// Nothing happens where `deadline` is about to come or has come; it may still be under way.
    void disarm(const Deadline& deadline) TELVORA_EXCLUDES(m_lock);

    void retire() TELVORA_EXCLUDES(m_lock);

private:
    void run() TELVORA_EXCLUDES(m_lock);
    /// Null when the thread is to end.
    std::shared_ptr<Deadline> nextDue() TELVORA_EXCLUDES(m_lock);

    const StartThread m_startThread;

    Mutex m_lock;
    std::condition_variable_any m_change;
    /// The earliest first; of the same time, the one that was armed first.
    std::shared_ptr<Deadline> m_first TELVORA_GUARDED_BY(m_lock);
    bool m_isRunning TELVORA_GUARDED_BY(m_lock) = false;
    bool m_isRetired TELVORA_GUARDED_BY(m_lock) = false;
    std::thread::id m_thread TELVORA_GUARDED_BY(m_lock);
};

} // namespace telvora::detail
