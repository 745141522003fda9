#pragma once

#include <Telvora/Base/Mutex.h>
#include <Telvora/Base/Work.h>
#include <Telvora/Platform/Linux/Futex.h>

#include <chrono>
#include <cstdint>
#include <map>
#include <utility>

namespace telvora {

using SteadyTime = std::chrono::steady_clock::time_point;

/// `delay` from now; the end of time where the clock does not reach that far.
SteadyTime steadyTimeAfter(std::chrono::nanoseconds delay);

/// One thread that sleeps until the earliest of all deadlines and calls what is due. The work it
/// calls is ours and short: it hands a block to the pool.
///
/// Life: one for the process, made on first use, never destroyed; the thread, "telvora-timer",
/// starts with the first deadline.
/// Threads: every operation from any thread. In a forked child deadlines are dropped.
/// Failure: where the system refuses the thread, the next deadline tries again.
class TimerThread {
public:
    /// When a deadline comes, and which of those of the same time it is.
    using Ticket = std::pair<SteadyTime, std::uint64_t>;

    static TimerThread& shared();

    /// Calls `work` once, on the timer's thread, no earlier than at `deadline`.
    Ticket arm(SteadyTime deadline, Work work) TELVORA_EXCLUDES(m_lock);

    /// False when the call has begun already; it may still be under way.
    bool disarm(const Ticket& ticket) TELVORA_EXCLUDES(m_lock);

private:
    TimerThread();

    void run();
    Work takeDue() TELVORA_EXCLUDES(m_lock);

    Mutex m_lock;
    std::map<Ticket, Work> m_deadlines TELVORA_GUARDED_BY(m_lock);
    std::uint64_t m_lastNumber TELVORA_GUARDED_BY(m_lock) = 0;
    bool m_isStarted TELVORA_GUARDED_BY(m_lock) = false;
    /// Changes when the thread has to look at the deadlines anew.
    FutexWord m_changes { 0 };
};

} // namespace telvora
