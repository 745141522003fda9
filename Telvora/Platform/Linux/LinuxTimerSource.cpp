#include <Telvora/Platform/Linux/LinuxTimerSource.h>

#include <Telvora/Base/Mutex.h>
#include <Telvora/Platform/Linux/ForkedChild.h>
#include <Telvora/Platform/Linux/Futex.h>
#include <Telvora/Platform/Linux/GlobalQueue.h>
#include <Telvora/Platform/Linux/TimerThread.h>
#include <Telvora/Platform/Linux/WorkerPool.h>

#include <algorithm>
#include <optional>
#include <utility>

#include <pthread.h>

namespace telvora {

using std::chrono::nanoseconds;

/// Where the next tick is: nowhere (suspended, or without a schedule), armed in the timer thread,
/// or in flight on the pool, the handler's run included.
class LinuxTimerSource::State : public std::enable_shared_from_this<State> {
public:
    void schedule(nanoseconds interval) TELVORA_EXCLUDES(m_lock)
    {
        MutexLock lock(m_lock);
        m_interval = std::max(interval, nanoseconds(1));
        m_next = steadyTimeAfter(m_interval);
        m_isOwed = false;
        ++m_schedule;
        rearm();
    }

    void setHandler(std::function<void()> handler) TELVORA_EXCLUDES(m_lock)
    {
        auto shared = std::make_shared<std::function<void()>>(std::move(handler));
        MutexLock lock(m_lock);
        // The old one goes after the lock, since `shared` is older.
        std::swap(m_handler, shared);
    }

    void suspend() TELVORA_EXCLUDES(m_lock)
    {
        MutexLock lock(m_lock);
        ++m_suspensions;
        rearm();
    }

    void resume() TELVORA_EXCLUDES(m_lock)
    {
        MutexLock lock(m_lock);
        if (m_suspensions == 0)
            return;
        --m_suspensions;
        rearm();
    }

    /// No tick begins after it, and unless a handler calls it, none is running.
    void cancel() TELVORA_EXCLUDES(m_lock)
    {
        std::shared_ptr<std::function<void()>> handler;
        {
            MutexLock lock(m_lock);
            m_isCancelled = true;
            rearm();
            std::swap(handler, m_handler);
            if (m_isRunning.load(std::memory_order_relaxed)
                && ::pthread_equal(m_runner, ::pthread_self()))
                return;
        }
        if (m_isRunning.load(std::memory_order_acquire) == 0)
            return;
        WorkerPool::Blocked blocked;
        while (m_isRunning.load(std::memory_order_acquire) != 0)
            futexWait(m_isRunning, 1);
    }

private:
    /// Brings the deadline in line with everything else.
    void rearm() TELVORA_REQUIRES(m_lock)
    {
        if (m_armed) {
            TimerThread::shared().disarm(*m_armed);
            m_armed.reset();
        }
        if (m_isInFlight || m_isCancelled || m_suspensions > 0 || m_schedule == 0)
            return;
        const auto now = std::chrono::steady_clock::now();
        if (m_isOwed || m_next <= now) {
            sendTick(now);
            return;
        }
        m_armed = TimerThread::shared().arm(m_next,
            [self = shared_from_this(), arming = ++m_arming] { self->deadlineCame(arming); });
    }

    void deadlineCame(std::uint64_t arming) TELVORA_EXCLUDES(m_lock)
    {
        MutexLock lock(m_lock);
        if (!m_armed || arming != m_arming)
            return; // Disarmed too late to be stopped on its way.
        m_armed.reset();
        sendTick(std::chrono::steady_clock::now());
    }

    /// One tick for all deadlines up to now; the next deadline keeps the step.
    void sendTick(SteadyTime now) TELVORA_REQUIRES(m_lock)
    {
        m_isOwed = false;
        if (m_next <= now)
            m_next += ((now - m_next) / m_interval + 1) * m_interval;
        m_isInFlight = true;
        submitGlobally(
            [self = shared_from_this(), schedule = m_schedule] { self->tick(schedule); });
    }

    void tick(std::uint64_t schedule) TELVORA_EXCLUDES(m_lock)
    {
        if (const auto handler = beginTick(schedule)) {
            try {
                if (*handler)
                    (*handler)();
            } catch (...) {
                // Nobody waits for a tick, so nobody can be told.
            }
            endHandler();
        }
        MutexLock lock(m_lock);
        m_isInFlight = false;
        rearm();
    }

    std::shared_ptr<std::function<void()>> beginTick(std::uint64_t schedule)
        TELVORA_EXCLUDES(m_lock)
    {
        MutexLock lock(m_lock);
        if (m_isCancelled || schedule != m_schedule || !m_handler)
            return nullptr;
        if (m_suspensions > 0) {
            m_isOwed = true;
            return nullptr;
        }
        m_runner = ::pthread_self();
        m_isRunning.store(1, std::memory_order_relaxed);
        return m_handler;
    }

    void endHandler()
    {
        m_isRunning.store(0, std::memory_order_release);
        futexWake(m_isRunning);
    }

    Mutex m_lock;
    std::shared_ptr<std::function<void()>> m_handler TELVORA_GUARDED_BY(m_lock);
    nanoseconds m_interval TELVORA_GUARDED_BY(m_lock) { 1 };
    SteadyTime m_next TELVORA_GUARDED_BY(m_lock);
    /// Counts schedules; a tick of an earlier one is dropped.
    std::uint64_t m_schedule TELVORA_GUARDED_BY(m_lock) = 0;
    std::uint64_t m_suspensions TELVORA_GUARDED_BY(m_lock) = 1;
    std::optional<TimerThread::Ticket> m_armed TELVORA_GUARDED_BY(m_lock);
    std::uint64_t m_arming TELVORA_GUARDED_BY(m_lock) = 0;
    bool m_isInFlight TELVORA_GUARDED_BY(m_lock) = false;
    /// A tick was sent and found the source suspended.
    bool m_isOwed TELVORA_GUARDED_BY(m_lock) = false;
    bool m_isCancelled TELVORA_GUARDED_BY(m_lock) = false;
    pthread_t m_runner TELVORA_GUARDED_BY(m_lock) {};
    /// Written with the lock held; read without by a destructor that waits for the handler's end.
    FutexWord m_isRunning { 0 };
};

LinuxTimerSource::LinuxTimerSource()
    : m_state(std::make_shared<State>())
{
    watchForForks();
}

LinuxTimerSource::~LinuxTimerSource()
{
    if (!isForkedChild())
        m_state->cancel();
}

void LinuxTimerSource::schedule(nanoseconds interval)
{
    if (!isForkedChild())
        m_state->schedule(interval);
}

void LinuxTimerSource::setHandler(std::function<void()> handler)
{
    if (!isForkedChild())
        m_state->setHandler(std::move(handler));
}

void LinuxTimerSource::suspend()
{
    if (!isForkedChild())
        m_state->suspend();
}

void LinuxTimerSource::resume()
{
    if (!isForkedChild())
        m_state->resume();
}

} // namespace telvora
