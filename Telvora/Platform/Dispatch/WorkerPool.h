#pragma once

#include <Telvora/Base/Mutex.h>
#include <Telvora/Base/Work.h>
#include <Telvora/Platform/Dispatch/Job.h>
#include <Telvora/Platform/Dispatch/StartThread.h>

#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <memory>

namespace telvora::detail {

/// How long a worker without jobs waits.
struct WorkerTimes {
    /// A job that is posted during this wait wakes no thread.
    std::chrono::nanoseconds shortWait = std::chrono::microseconds(250);
    /// After this sleep a worker ends, if another worker sleeps too.
    std::chrono::nanoseconds longestSleep = std::chrono::seconds(5);
};

/// The threads that run asynchronous work.
///
/// Waking a thread costs the waking thread some microseconds, a hundred times the cost of posting a
/// job. So a worker without jobs first makes a short wait of a quarter of a millisecond. A job that
/// is posted meanwhile wakes no thread; the worker takes it after the short wait. Then the worker
/// sleeps, and the next job wakes it at once. A process that submits nothing has no wakeups.
///
/// A worker is available while it looks for a job or is in its short wait. As long as a job waits,
/// a worker is available or the maximum number of workers is busy: a thread that posts a job while
/// no worker is available wakes one or starts one.
///
/// Life: shared by the dispatch, its queues and timers, and each worker. Starts no thread before
/// the first job. A worker that has slept for five seconds ends. One sleeping worker does not: it
/// sleeps until there is a job, or retire().
///
/// Threads: every operation from any thread. In a forked child jobs are dropped.
///
/// Failure: when the system refuses a thread, jobs wait until the pool next tries to start one.
class WorkerPool : public std::enable_shared_from_this<WorkerPool> {
public:
    /// `times` differ in tests only.
    explicit WorkerPool(StartThread startThread, WorkerTimes times = {});

    /// Runs `job` on a worker, soon. The job must live until it has run.
    void post(Job& job) TELVORA_EXCLUDES(m_lock);

    /// Runs `job` one short wait later, so that more blocks can gather. Called from a job only.
    void postDelayed(Job& job) TELVORA_EXCLUDES(m_lock);

    /// Runs `work` on a worker; an exception that leaves it is dropped. Throws std::bad_alloc.
    void post(Work work);

    /// Waits until no job waits or runs; false when `deadline` came first. Ends short waits. Must
    /// not be called from a job.
    bool waitUntilIdle(std::chrono::steady_clock::time_point deadline) TELVORA_EXCLUDES(m_lock);

    /// Whether the calling thread is one of the pool's.
    bool isWorker() const;

    /// Workers without jobs end from now on, the last one too. Jobs may still be posted.
    void retire() TELVORA_EXCLUDES(m_lock);

    /// The state of the threads. For tests.
    struct Counts {
        std::size_t workers = 0;
        std::size_t asleep = 0;
        std::size_t running = 0;
        /// Since the pool was made: how often a sleeping worker was woken.
        std::size_t wakes = 0;
    };
    Counts counts() TELVORA_EXCLUDES(m_lock);

    /// Says for a scope that the calling thread waits for another thread. If it is a worker, the
    /// pool may start another worker in its place.
    class Blocked {
    public:
        explicit Blocked(WorkerPool& pool);
        ~Blocked();

        Blocked(const Blocked&) = delete;
        Blocked& operator=(const Blocked&) = delete;

    private:
        WorkerPool* const m_pool;
    };

private:
    enum class Action {
        none,
        wakeWorker,
        startWorker,
    };

    void work() TELVORA_EXCLUDES(m_lock);
    // Null when the worker must end.
    Job* nextJob() TELVORA_EXCLUDES(m_lock);
    Job* takeJob() TELVORA_REQUIRES(m_lock);
    void waitShortly() TELVORA_REQUIRES(m_lock);
    bool mustEndShortWaits() const TELVORA_REQUIRES(m_lock);
    // False when the worker must end.
    bool sleepUntilNotified() TELVORA_REQUIRES(m_lock);
    bool isIdle() const TELVORA_REQUIRES(m_lock);
    bool mayStartWorker() TELVORA_REQUIRES(m_lock);

    // Counts a worker as available if none is. The caller then calls perform() with the result,
    // after it has released the lock.
    Action requestWorker() TELVORA_REQUIRES(m_lock);
    void perform(Action action) TELVORA_EXCLUDES(m_lock);

    const StartThread m_startThread;
    const WorkerTimes m_times;

    Mutex m_lock;
    // Each kind of waiting thread has its own condition variable, so that a notification wakes no
    // thread of another kind.
    std::condition_variable_any m_wakeup;
    std::condition_variable_any m_endOfShortWait;
    std::condition_variable_any m_idle;
    JobList m_jobs TELVORA_GUARDED_BY(m_lock);
    // All have the same delay, so the first in the list is the first to run.
    JobList m_delayedJobs TELVORA_GUARDED_BY(m_lock);

    // 0 until somebody has asked the system, which reads a file for it.
    std::size_t m_processors TELVORA_GUARDED_BY(m_lock) = 0;
    std::size_t m_workers TELVORA_GUARDED_BY(m_lock) = 0;
    // Workers that are not blocked. Includes workers that are being started.
    std::size_t m_runnable TELVORA_GUARDED_BY(m_lock) = 0;
    std::size_t m_available TELVORA_GUARDED_BY(m_lock) = 0;
    std::size_t m_asleep TELVORA_GUARDED_BY(m_lock) = 0;
    // Sleeping workers that were notified and have not woken up yet.
    std::size_t m_notified TELVORA_GUARDED_BY(m_lock) = 0;
    std::size_t m_running TELVORA_GUARDED_BY(m_lock) = 0;
    std::size_t m_wakes TELVORA_GUARDED_BY(m_lock) = 0;
    std::size_t m_idleWaiters TELVORA_GUARDED_BY(m_lock) = 0;
    bool m_isRetired TELVORA_GUARDED_BY(m_lock) = false;
};

} // namespace telvora::detail
