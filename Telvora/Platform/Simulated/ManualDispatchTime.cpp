// The part of ManualDispatchCore that waits: delayed blocks, timers and the way from one instant to
// the next.

#include <Telvora/Platform/Simulated/ManualDispatchCore.h>

#include <algorithm>

namespace telvora::detail {

void ManualDispatchCore::submitAfter(
    const std::shared_ptr<BlockQueue>& queue, std::chrono::nanoseconds delay, Work work)
{
    if (delay <= std::chrono::nanoseconds(0)) {
        submit(queue, std::move(work));
        return;
    }
    MutexLock lock(m_lock);
    if (m_isClosed)
        return;
    const auto deadline = later(m_clock.steadyNow(), delay);
    m_waiting.emplace(
        std::pair(deadline, m_nextSequence++), Waiting { .queue = queue, .work = std::move(work) });
}

void ManualDispatchCore::advance(std::chrono::nanoseconds step)
{
    requireNoRunningBlock("advance");
    const auto last = later(m_clock.steadyNow(), std::max(step, std::chrono::nanoseconds(0)));
    do
        runUntilIdle();
    while (reachNextInstant(last));
}

bool ManualDispatchCore::wait(const Signal& signal, std::chrono::nanoseconds longest)
{
    if (isRunningBlock())
        return signal.isSet();
    const auto last = later(m_clock.steadyNow(), longest);
    const bool wasHeld = isHeld();
    setHold(false);
    do
        runUntilIdle();
    while ((!signal.isSet() || isAnswerOnItsWay()) && reachNextInstant(last));
    setHold(wasHeld);
    return signal.isSet();
}

bool ManualDispatchCore::isAnswerOnItsWay() const
{
    MutexLock lock(m_lock);
    return std::ranges::any_of(m_waiting,
        [this](const auto& waiting) { return waiting.second.queue == m_completionQueue; });
}

bool ManualDispatchCore::reachNextInstant(Instant last)
{
    MutexLock lock(m_lock);
    const Instant now = m_clock.steadyNow();
    const bool isDue = !m_waiting.empty() && m_waiting.begin()->first.first <= last;
    if (!isDue && now == last)
        return false;
    const Instant next = isDue ? std::max(now, m_waiting.begin()->first.first) : last;
    m_clock.advanceTo(next);
    fireDue(next);
    if (next > now) {
        for (const auto& timer : m_incessantTimers)
            makeTickReady(timer);
    }
    return true;
}

void ManualDispatchCore::fireDue(Instant now)
{
    while (!m_waiting.empty() && m_waiting.begin()->first.first <= now) {
        Waiting due = std::move(m_waiting.extract(m_waiting.begin()).mapped());
        if (!due.timer) {
            makeReady(due.queue, { .work = std::move(due.work) });
            continue;
        }
        Timer& timer = *due.timer;
        makeTickReady(due.timer);
        // At the end of time there is no next deadline.
        if (*timer.deadline == Instant::max())
            continue;
        timer.deadline = later(*timer.deadline, timer.interval);
        m_waiting.emplace(std::pair(*timer.deadline, timer.sequence), std::move(due));
    }
}

std::optional<ManualDispatchCore::Instant> ManualDispatchCore::nextInstant() const
{
    MutexLock lock(m_lock);
    if (m_waiting.empty())
        return std::nullopt;
    return m_waiting.begin()->first.first;
}

// Timers

void ManualDispatchCore::schedule(
    const std::shared_ptr<Timer>& timer, std::chrono::nanoseconds interval)
{
    {
        MutexLock lock(m_lock);
        if (m_isClosed)
            return;
        stopWaiting(*timer);
        dropTick(*timer);
        timer->hasMissedTick = false;
        timer->interval = interval;
        if (interval <= std::chrono::nanoseconds(0)) {
            m_incessantTimers.push_back(timer);
        } else {
            timer->sequence = m_nextSequence++;
            timer->deadline = later(m_clock.steadyNow(), interval);
            m_waiting.emplace(std::pair(*timer->deadline, timer->sequence),
                Waiting { .queue = nullptr, .timer = timer });
        }
    }
    m_timerObserver(ManualDispatch::TimerAction::schedule, interval);
}

void ManualDispatchCore::setHandler(Timer& timer, std::function<void()> handler)
{
    auto shared = std::make_shared<const std::function<void()>>(std::move(handler));
    MutexLock lock(m_lock);
    timer.handler.swap(shared);
}

void ManualDispatchCore::suspend(Timer& timer)
{
    std::chrono::nanoseconds interval { 0 };
    {
        MutexLock lock(m_lock);
        ++timer.suspendCount;
        // A tick that was ready and has not run waits for the resume, as a missed one does.
        timer.hasMissedTick |= timer.isTickReady;
        dropTick(timer);
        interval = timer.interval;
    }
    m_timerObserver(ManualDispatch::TimerAction::suspend, interval);
}

void ManualDispatchCore::resume(const std::shared_ptr<Timer>& timer)
{
    std::chrono::nanoseconds interval { 0 };
    {
        MutexLock lock(m_lock);
        if (timer->suspendCount > 0 && --timer->suspendCount == 0 && timer->hasMissedTick) {
            timer->hasMissedTick = false;
            makeTickReady(timer);
        }
        interval = timer->interval;
    }
    m_timerObserver(ManualDispatch::TimerAction::resume, interval);
}

void ManualDispatchCore::remove(Timer& timer)
{
    MutexLock lock(m_lock);
    stopWaiting(timer);
    dropTick(timer);
}

void ManualDispatchCore::makeTickReady(const std::shared_ptr<Timer>& timer)
{
    if (m_isClosed)
        return;
    if (timer->suspendCount != 0) {
        timer->hasMissedTick = true;
        return;
    }
    if (std::exchange(timer->isTickReady, true))
        return;
    auto tick = [this, timer] {
        std::shared_ptr<const std::function<void()>> handler;
        {
            MutexLock lock(m_lock);
            timer->isTickReady = false;
            handler = timer->handler;
        }
        if (handler && *handler)
            (*handler)();
    };
    makeReady(m_globalQueue, { .work = std::move(tick), .timer = timer.get() });
}

void ManualDispatchCore::dropTick(Timer& timer)
{
    if (!std::exchange(timer.isTickReady, false))
        return;
    auto& pending = m_globalQueue->pending;
    const auto tick
        = std::ranges::find_if(pending, [&](const Block& block) { return block.timer == &timer; });
    if (tick != pending.end())
        takeAt(*m_globalQueue, static_cast<std::size_t>(tick - pending.begin()));
}

void ManualDispatchCore::stopWaiting(Timer& timer)
{
    if (timer.deadline)
        m_waiting.erase({ *timer.deadline, timer.sequence });
    timer.deadline.reset();
    std::erase_if(
        m_incessantTimers, [&](const auto& incessant) { return incessant.get() == &timer; });
}

} // namespace telvora::detail
