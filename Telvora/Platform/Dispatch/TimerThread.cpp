#include <Telvora/Platform/Dispatch/TimerThread.h>

#include <Telvora/Base/ForkedChild.h>

#include <utility>

namespace telvora::detail {

SteadyTime steadyTimeAfter(std::chrono::nanoseconds delay)
{
    const SteadyTime now = std::chrono::steady_clock::now();
    return delay > SteadyTime::max() - now ? SteadyTime::max() : now + delay;
}

TimerThread::TimerThread(StartThread startThread)
    : m_startThread(startThread)
{
}

TimerThread::~TimerThread()
{
    // One after the other: a list that destroyed itself would recurse.
    while (m_first)
        m_first = std::exchange(m_first->m_next, nullptr);
}

void TimerThread::arm(std::shared_ptr<Deadline> deadline, SteadyTime time)
{
    if (isForkedChild())
        return;
    bool mustStartThread = false;
    bool mustWakeThread = false;
    {
        const MutexLock lock(m_lock);
        Deadline* before = m_last;
        while (before && before->m_time > time)
            before = before->m_previous;
        Deadline* const armed = deadline.get();
        std::shared_ptr<Deadline>& place = before ? before->m_next : m_first;
        armed->m_isArmed = true;
        armed->m_time = time;
        armed->m_previous = before;
        armed->m_next = std::exchange(place, std::move(deadline));
        (armed->m_next ? armed->m_next->m_previous : m_last) = armed;

        mustStartThread = !std::exchange(m_isRunning, true);
        // The timer thread looks at the list before it sleeps, so it need not wake itself.
        mustWakeThread = !before && m_thread != std::this_thread::get_id();
    }
    if (mustStartThread) {
        if (!m_startThread("telvora-timer", [self = shared_from_this()] { self->run(); })) {
            const MutexLock lock(m_lock);
            m_isRunning = false;
        }
    } else if (mustWakeThread) {
        m_change.notify_one();
    }
}

void TimerThread::disarm(Deadline& deadline)
{
    if (isForkedChild())
        return;
    std::shared_ptr<Deadline> removed; // Destroyed after the lock is released.
    const MutexLock lock(m_lock);
    if (deadline.m_isArmed)
        removed = take(deadline);
}

std::shared_ptr<Deadline> TimerThread::take(Deadline& deadline)
{
    std::shared_ptr<Deadline>& place = deadline.m_previous ? deadline.m_previous->m_next : m_first;
    std::shared_ptr<Deadline> taken = std::exchange(place, std::move(deadline.m_next));
    (place ? place->m_previous : m_last) = deadline.m_previous;
    deadline.m_isArmed = false;
    return taken;
}

void TimerThread::retire()
{
    if (isForkedChild())
        return;
    {
        const MutexLock lock(m_lock);
        m_isRetired = true;
    }
    m_change.notify_one();
}

void TimerThread::run()
{
    {
        const MutexLock lock(m_lock);
        m_thread = std::this_thread::get_id();
    }
    while (const auto due = nextDue())
        due->expire();
}

std::shared_ptr<Deadline> TimerThread::nextDue()
{
    const MutexLock lock(m_lock);
    for (;;) {
        // A copy, because the wait reads it again after it has released the lock.
        const SteadyTime earliest = m_first ? m_first->m_time : SteadyTime::max();
        if (m_first && earliest <= std::chrono::steady_clock::now())
            return take(*m_first);
        if (earliest != SteadyTime::max()) {
            m_change.wait_until(m_lock, earliest);
        } else if (!m_first && m_isRetired) {
            m_isRunning = false;
            m_thread = std::thread::id();
            return nullptr;
        } else {
            m_change.wait(m_lock);
        }
    }
}

} // namespace telvora::detail
