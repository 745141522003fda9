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

// The state of the next tick: none (suspended, or without a schedule), armed in the timer thread,
// or under way on the pool until the handler has returned.
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
        const MutexLock lock(m_lock);
        m_interval = std::max(interval, shortestInterval);
        m_next = steadyTimeAfter(m_interval);
        m_isTickMissed = false;
        ++m_schedule;
        rearm();
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
        const MutexLock lock(m_lock);
        if (m_suspensions == 0)
            return;
        --m_suspensions;
        rearm();
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
        const MutexLock lock(m_lock);
        const SteadyTime now = std::chrono::steady_clock::now();
        // Happens when disarm() came after the timer thread had taken the deadline.
        if (!m_isArmed || m_next > now)
            return;
        // It may have been armed again since. The end of the tick arms it, which is allowed only
        // once.
        m_timers->disarm(*this);
        m_isArmed = false;
        sendTick(now);
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
        const MutexLock lock(m_lock);
        m_runner = std::thread::id();
        if (m_isAwaited)
            m_handlerEnd.notify_all();
        m_isUnderWay = false;
        rearm();
    }

private:
    /// Brings the deadline in line with everything else.
    void rearm() TELVORA_REQUIRES(m_lock)
    {
        if (std::exchange(m_isArmed, false))
            m_timers->disarm(*this);
        if (m_isUnderWay || m_isCancelled || m_suspensions > 0 || m_schedule == 0)
            return;
        const SteadyTime now = std::chrono::steady_clock::now();
        if (m_isTickMissed || m_next <= now) {
            sendTick(now);
        } else {
            m_isArmed = true;
            m_timers->arm(shared_from_this(), m_next);
        }
    }

    // One tick for all deadlines up to now. The next deadline is a whole number of intervals later.
    void sendTick(SteadyTime now) TELVORA_REQUIRES(m_lock)
    {
        m_isTickMissed = false;
        if (m_next <= now)
            m_next += ((now - m_next) / m_interval + 1) * m_interval;
        m_isUnderWay = true;
        m_scheduleOfTick = m_schedule;
        m_tick = shared_from_this();
        m_pool->post(*this);
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
    // A tick found the source suspended; it is sent after resume().
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
