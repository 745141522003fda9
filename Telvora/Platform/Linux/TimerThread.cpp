#include <Telvora/Platform/Linux/TimerThread.h>

#include <Telvora/Platform/Linux/ForkedChild.h>
#include <Telvora/Platform/Linux/LinuxThread.h>

namespace telvora {

SteadyTime steadyTimeAfter(std::chrono::nanoseconds delay)
{
    const SteadyTime now = std::chrono::steady_clock::now();
    return delay > SteadyTime::max() - now ? SteadyTime::max() : now + delay;
}

TimerThread& TimerThread::shared()
{
    static TimerThread& timer = *new TimerThread;
    return timer;
}

TimerThread::TimerThread()
{
    watchForForks();
}

TimerThread::Ticket TimerThread::arm(SteadyTime deadline, Work work)
{
    if (isForkedChild())
        return {};
    MutexLock lock(m_lock);
    const Ticket ticket { deadline, ++m_lastNumber };
    m_deadlines.emplace(ticket, std::move(work));
    if (!m_isStarted)
        m_isStarted = startDetachedThread("telvora-timer", [this] { run(); });
    if (m_deadlines.begin()->first == ticket) {
        m_changes.fetch_add(1, std::memory_order_release);
        futexWake(m_changes);
    }
    return ticket;
}

bool TimerThread::disarm(const Ticket& ticket)
{
    if (isForkedChild())
        return false;
    std::map<Ticket, Work>::node_type removed; // What it captured goes without the lock held.
    MutexLock lock(m_lock);
    removed = m_deadlines.extract(ticket);
    return !removed.empty();
}

void TimerThread::run()
{
    for (;;) {
        if (Work due = takeDue())
            due();
    }
}

/// Empty when the sleep ended for another reason than a deadline.
Work TimerThread::takeDue()
{
    std::uint32_t changes;
    SteadyTime earliest = SteadyTime::max();
    {
        MutexLock lock(m_lock);
        changes = m_changes.load(std::memory_order_acquire);
        if (!m_deadlines.empty()) {
            const auto first = m_deadlines.begin();
            earliest = first->first.first;
            if (earliest <= std::chrono::steady_clock::now()) {
                Work due = std::move(first->second);
                m_deadlines.erase(first);
                return due;
            }
        }
    }
    if (earliest == SteadyTime::max())
        futexWait(m_changes, changes);
    else
        futexWaitUntil(m_changes, changes, earliest);
    return {};
}

} // namespace telvora
