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

void TimerThread::arm(std::shared_ptr<Deadline> deadline, SteadyTime time)
{
    if (isForkedChild())
        return;
    bool isThreadMissing = false;
    bool isThreadToWake = false;
    {
        const MutexLock lock(m_lock);
        std::shared_ptr<Deadline>* place = &m_first;
        while (*place && (*place)->m_time <= time)
            place = &(*place)->m_next;
        deadline->m_time = time;
        deadline->m_next = std::move(*place);
        *place = std::move(deadline);

        isThreadMissing = !std::exchange(m_isRunning, true);
        // The timer thread looks at the list before it sleeps, so it need not wake itself.
        isThreadToWake = place == &m_first && m_thread != std::this_thread::get_id();
    }
    if (isThreadMissing) {
        if (!m_startThread("telvora-timer", [self = shared_from_this()] { self->run(); })) {
            const MutexLock lock(m_lock);
            m_isRunning = false;
        }
    } else if (isThreadToWake) {
        m_change.notify_one();
    }
}

void TimerThread::disarm(const Deadline& deadline)
{
    if (isForkedChild())
        return;
    std::shared_ptr<Deadline> removed; // Destroyed after the lock is released.
    const MutexLock lock(m_lock);
    std::shared_ptr<Deadline>* place = &m_first;
    while (*place && place->get() != &deadline)
        place = &(*place)->m_next;
    if (!*place)
        return;
    removed = std::move(*place);
    *place = std::move(removed->m_next);
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
        if (m_first && earliest <= std::chrono::steady_clock::now()) {
            auto due = std::move(m_first);
            m_first = std::move(due->m_next);
            return due;
        }
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
