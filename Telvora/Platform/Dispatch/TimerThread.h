#pragma once

#include <Telvora/Base/Mutex.h>
#include <Telvora/Platform/Dispatch/StartThread.h>

#include <chrono>
#include <condition_variable>
#include <memory>
#include <thread>

namespace telvora::detail {

using SteadyTime = std::chrono::steady_clock::time_point;

/// The time `delay` from now, at most the latest time that the clock can express.
SteadyTime steadyTimeAfter(std::chrono::nanoseconds delay);

/// Something that happens at a time. It contains the link of the timer thread's list, so arming it
/// needs no memory and cannot fail.
struct Deadline {
    virtual ~Deadline() = default;

    /// Called on the timer thread at the deadline. Must return quickly.
    virtual void expire() noexcept = 0;

private:
    friend class TimerThread;

    bool m_isArmed = false;
    SteadyTime m_time;
    std::shared_ptr<Deadline> m_next;
    Deadline* m_previous = nullptr;
};

/// One thread, "telvora-timer", that sleeps until the earliest deadline and calls expire() on each
/// deadline whose time has come. A sorted list holds them; most come later than all others, so a
/// new one looks for its place from the end.
///
/// Life: shared by the dispatch, its timers and the thread, which starts with the first deadline
/// and ends after retire(), once no deadline is left.
/// Threads: every operation from any thread. In a forked child deadlines are dropped.
/// Failure: when the system refuses the thread, the next arm() tries to start it again.
class TimerThread : public std::enable_shared_from_this<TimerThread> {
public:
    explicit TimerThread(StartThread startThread);
    ~TimerThread();

    TimerThread(const TimerThread&) = delete;
    TimerThread& operator=(const TimerThread&) = delete;

    /// Calls deadline->expire() once, not before `time`. Requires: `deadline` is not armed.
    void arm(std::shared_ptr<Deadline> deadline, SteadyTime time) TELVORA_EXCLUDES(m_lock);

    /// Does nothing when `deadline` is not armed. Its expire() may still be running then.
    void disarm(Deadline& deadline) TELVORA_EXCLUDES(m_lock);

    /// The thread ends once no deadline is left.
    void retire() TELVORA_EXCLUDES(m_lock);

private:
    void run() TELVORA_EXCLUDES(m_lock);
    // Null when the thread must end.
    std::shared_ptr<Deadline> nextDue() TELVORA_EXCLUDES(m_lock);

    // Removes `deadline` from the list.
    std::shared_ptr<Deadline> take(Deadline& deadline) TELVORA_REQUIRES(m_lock);

    const StartThread m_startThread;

    Mutex m_lock;
    std::condition_variable_any m_change;
    // Sorted by time; deadlines with the same time in the order in which they were armed.
    std::shared_ptr<Deadline> m_first TELVORA_GUARDED_BY(m_lock);
    Deadline* m_last TELVORA_GUARDED_BY(m_lock) = nullptr;
    bool m_isRunning TELVORA_GUARDED_BY(m_lock) = false;
    bool m_isRetired TELVORA_GUARDED_BY(m_lock) = false;
    std::thread::id m_thread TELVORA_GUARDED_BY(m_lock);
};

} // namespace telvora::detail
