#include <Telvora/Platform/Dispatch/ThreadedTimerSource.h>

#include <Telvora/Base/ForkedChild.h>
#include <Telvora/Base/Mutex.h>
#include <Telvora/Platform/Dispatch/RunBlock.h>

#include <algorithm>
#include <condition_variable>
#include <cstdint>
#include <thread>
#include <utility>

namespace telvora::detail {

using std::chrono::nanoseconds;

namespace {

constexpr nanoseconds shortestInterval = std::chrono::milliseconds(1);

} // namespace

// The next deadline is armed in the timer thread unless the source is suspended or has no schedule.
// A tick is under way on the pool until the handler has returned; a deadline that passes meanwhile
// is one missed tick. The next deadline is armed when one has passed, on the timer thread itself,
// which then need not be woken.
class ThreadedTimerSource::State final : public Deadline,
                                         public Job,
                                         public std::enable_shared_from_this<State> {
public:
    using Handler = std::shared_ptr<const std::function<void()>>;

    State(std::shared_ptr<TimerThread> timers, std::shared_ptr<WorkerPool> pool)
        : m_timers(std::move(timers))
        , m_pool(std::move(pool))
    {
    }

    void schedule(nanoseconds interval) TELVORA_EXCLUDES(m_lock)
    {
        bool isTickDue = false;
        {
            const MutexLock lock(m_lock);
            m_interval = std::max(interval, shortestInterval);
            m_next = steadyTimeAfter(m_interval);
            m_isTickMissed = false;
            ++m_schedule;
            isTickDue = rearm();
        }
        postTick(isTickDue);
    }

    void setHandler(std::function<void()> handler) TELVORA_EXCLUDES(m_lock)
    {
        // Declared before the lock, so the old handler is destroyed after the lock is released.
        Handler shared = std::make_shared<const std::function<void()>>(std::move(handler));
        const MutexLock lock(m_lock);
        m_handler.swap(shared);
    }

    void suspend() TELVORA_EXCLUDES(m_lock)
    {
        const MutexLock lock(m_lock);
        ++m_suspensions;
        rearm();
    }

    void resume() TELVORA_EXCLUDES(m_lock)
    {
        bool isTickDue = false;
        {
            const MutexLock lock(m_lock);
            if (m_suspensions == 0)
                return;
            --m_suspensions;
            isTickDue = rearm();
        }
        postTick(isTickDue);
    }

    /// Waits for a running handler, unless that handler calls it. No tick begins afterwards.
    void cancel() TELVORA_EXCLUDES(m_lock)
    {
        Handler handler; // Destroyed after the lock is released.
        const MutexLock lock(m_lock);
        m_isCancelled = true;
        rearm();
        m_handler.swap(handler);
        if (m_runner == std::thread::id() || m_runner == std::this_thread::get_id())
            return;
        m_isAwaited = true;
        while (m_runner != std::thread::id())
            m_handlerEnd.wait(m_lock);
    }

    /// The deadline.
    void expire() noexcept override TELVORA_EXCLUDES(m_lock)
    {
        bool isTickDue = false;
        {
            const MutexLock lock(m_lock);
            // Otherwise disarm() came after the timer thread had taken the deadline. It may have
            // been armed again since, so rearm() disarms it.
            if (m_isArmed && m_next <= std::chrono::steady_clock::now())
                isTickDue = rearm();
        }
        postTick(isTickDue);
    }

    /// The tick.
    void run() noexcept override TELVORA_EXCLUDES(m_lock)
    {
        const std::shared_ptr<State> self = takeTick();
        if (const Handler handler = beginHandler()) {
            if (*handler)
                runBlock(*handler);
        }
        if (isForkedChild())
            return;
        // Here a handler that was replaced meanwhile is already destroyed, before cancel() returns.
        bool isTickDue = false;
        {
            const MutexLock lock(m_lock);
            m_runner = std::thread::id();
            if (m_isAwaited)
                m_handlerEnd.notify_all();
            m_isUnderWay = false;
            isTickDue = beginMissedTick();
        }
        postTick(isTickDue);
    }

private:
    // Without the lock held, which the worker that runs the tick takes first.
    void postTick(bool isTickDue) TELVORA_EXCLUDES(m_lock)
    {
        if (isTickDue)
            m_pool->post(*this);
    }

    bool isActive() const TELVORA_REQUIRES(m_lock)
    {
        return !m_isCancelled && m_suspensions == 0 && m_schedule > 0;
    }

    // Brings the deadline in line with everything else. True when the caller must post a tick.
    bool rearm() TELVORA_REQUIRES(m_lock)
    {
        if (std::exchange(m_isArmed, false))
            m_timers->disarm(*this);
        if (!isActive())
            return false;
        passDeadlines();
        m_isArmed = true;
        m_timers->arm(shared_from_this(), m_next);
        return beginMissedTick();
    }

    // All deadlines up to now are one tick. The next deadline is a whole number of intervals later.
    void passDeadlines() TELVORA_REQUIRES(m_lock)
    {
        const SteadyTime now = std::chrono::steady_clock::now();
        if (m_next > now)
            return;
        m_next += ((now - m_next) / m_interval + 1) * m_interval;
        m_isTickMissed = true;
    }

    // True when the caller must post the tick.
    bool beginMissedTick() TELVORA_REQUIRES(m_lock)
    {
        if (!m_isTickMissed || m_isUnderWay || !isActive())
            return false;
        m_isTickMissed = false;
        m_isUnderWay = true;
        m_scheduleOfTick = m_schedule;
        m_tick = shared_from_this();
        return true;
    }

    std::shared_ptr<State> takeTick() TELVORA_EXCLUDES(m_lock)
    {
        const MutexLock lock(m_lock);
        return std::move(m_tick);
    }

    // Null when the handler must not run.
    Handler beginHandler() TELVORA_EXCLUDES(m_lock)
    {
        const MutexLock lock(m_lock);
        if (m_isCancelled || m_scheduleOfTick != m_schedule || !m_handler)
            return nullptr;
        if (m_suspensions > 0) {
            m_isTickMissed = true;
            return nullptr;
        }
        m_runner = std::this_thread::get_id();
        return m_handler;
    }

    const std::shared_ptr<TimerThread> m_timers;
    const std::shared_ptr<WorkerPool> m_pool;

    Mutex m_lock;
    std::condition_variable_any m_handlerEnd;
    Handler m_handler TELVORA_GUARDED_BY(m_lock);
    nanoseconds m_interval TELVORA_GUARDED_BY(m_lock) = shortestInterval;
    SteadyTime m_next TELVORA_GUARDED_BY(m_lock);
    // The number of schedule() calls; a tick of an earlier schedule is dropped.
    std::uint64_t m_schedule TELVORA_GUARDED_BY(m_lock) = 0;
    std::uint64_t m_suspensions TELVORA_GUARDED_BY(m_lock) = 1;
    bool m_isArmed TELVORA_GUARDED_BY(m_lock) = false;
    bool m_isUnderWay TELVORA_GUARDED_BY(m_lock) = false;
    // Keeps the timer alive while the tick waits in the pool.
    std::shared_ptr<State> m_tick TELVORA_GUARDED_BY(m_lock);
    std::uint64_t m_scheduleOfTick TELVORA_GUARDED_BY(m_lock) = 0;
    // A deadline has passed whose tick is not under way: it comes after resume(), or after the
    // handler that runs now.
    bool m_isTickMissed TELVORA_GUARDED_BY(m_lock) = false;
    bool m_isCancelled TELVORA_GUARDED_BY(m_lock) = false;
    // cancel() waits for the end of the handler.
    bool m_isAwaited TELVORA_GUARDED_BY(m_lock) = false;
    // The thread that runs the handler.
    std::thread::id m_runner TELVORA_GUARDED_BY(m_lock);
};

ThreadedTimerSource::ThreadedTimerSource(
    std::shared_ptr<TimerThread> timers, std::shared_ptr<WorkerPool> pool)
    : m_state(std::make_shared<State>(std::move(timers), std::move(pool)))
{
}

ThreadedTimerSource::~ThreadedTimerSource()
{
    if (!isForkedChild())
        m_state->cancel();
}

void ThreadedTimerSource::schedule(nanoseconds interval)
{
    if (!isForkedChild())
        m_state->schedule(interval);
}

void ThreadedTimerSource::setHandler(std::function<void()> handler)
{
    if (!isForkedChild())
        m_state->setHandler(std::move(handler));
}

void ThreadedTimerSource::suspend()
{
    if (!isForkedChild())
        m_state->suspend();
}

void ThreadedTimerSource::resume()
{
    if (!isForkedChild())
        m_state->resume();
}

} // namespace telvora::detail
