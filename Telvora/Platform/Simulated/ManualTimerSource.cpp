#include <Telvora/Platform/Simulated/ManualTimerSource.h>

#include <algorithm>

namespace telvora::detail {

ManualTimerSource::ManualTimerSource(std::shared_ptr<ManualDispatchCore> core)
    : m_core(std::move(core))
    , m_timer(std::make_shared<ManualDispatchCore::Timer>())
{
}

ManualTimerSource::~ManualTimerSource()
{
    m_core->remove(*m_timer);
}

void ManualTimerSource::schedule(std::chrono::nanoseconds interval)
{
    m_core->schedule(m_timer, interval);
}

void ManualTimerSource::setHandler(std::function<void()> handler)
{
    m_core->setHandler(*m_timer, std::move(handler));
}

void ManualTimerSource::suspend()
{
    m_core->suspend(*m_timer);
}

void ManualTimerSource::resume()
{
    m_core->resume(m_timer);
}

void ManualDispatchCore::schedule(
    const std::shared_ptr<Timer>& timer, std::chrono::nanoseconds interval)
{
    {
        MutexLock lock(m_lock);
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
                Waiting { .lane = nullptr, .timer = timer });
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
    makeReady(m_globalLane, { .work = std::move(tick), .timer = timer.get() });
}

void ManualDispatchCore::dropTick(Timer& timer)
{
    if (!std::exchange(timer.isTickReady, false))
        return;
    auto& pending = m_globalLane->pending;
    const auto tick = std::find_if(
        pending.begin(), pending.end(), [&](const Block& block) { return block.timer == &timer; });
    if (tick != pending.end())
        takeAt(*m_globalLane, static_cast<std::size_t>(tick - pending.begin()));
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
