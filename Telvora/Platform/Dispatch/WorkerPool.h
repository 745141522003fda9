#pragma once

#include <Telvora/Base/Mutex.h>
#include <Telvora/Base/Work.h>
#include <Telvora/Platform/Dispatch/StartThread.h>

#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <memory>

namespace telvora::detail {

/// Something that a worker can run. Carries its own place in the pool's lists, so that handing it
/// over needs no memory and cannot fail. In one list at a time.
struct Job {
    virtual ~Job() = default;

    /// May destroy the job.
    virtual void run() noexcept = 0;

    Job* next = nullptr;
    /// Of a job that was posted to wait: when its wait is over.
    std::chrono::steady_clock::time_point notBefore;
};

/// Jobs, oldest first.
class JobList {
public:
    bool isEmpty() const { return !m_first; }
    Job* first() const { return m_first; }
    void append(Job& job);
    /// Null when there is none.
    Job* takeFirst();

private:
    Job* m_first = nullptr;
    Job* m_last = nullptr;
};

/// The threads that run asynchronous work.
///
/// Waking a thread costs the one who wakes it some microseconds, a hundred times what handing over
/// a job costs. So a worker that has run out of jobs first naps for a quarter of a millisecond:
/// jobs that come meanwhile wait for its end and wake nobody. Only then it sleeps, and the next
/// job wakes it at once. A process that submits nothing has no wakeups.
///
/// A worker is attentive while it looks for jobs or naps. As long as a job waits, a worker is
/// attentive, or as many are busy as the machine is given; whoever posts a job while none is
/// attentive wakes one or starts one.
///
/// Life: shared by the dispatch, its queues and timers, and each worker. Starts no thread before
/// the first job. A worker that has slept for five seconds ends, but for the last one, which
/// sleeps on until retire().
///
/// Threads: every operation from any thread. In a forked child jobs are dropped.
///
/// Failure: where the system refuses a thread, jobs wait for the next occasion to start one.
class WorkerPool : public std::enable_shared_from_this<WorkerPool> {
public:
    explicit WorkerPool(StartThread startThread);

    /// Hands `job` to whichever worker comes first.
    void post(Job& job) TELVORA_EXCLUDES(m_lock);

    /// From a job: hands `job` over a nap later, so that more to do can gather meanwhile.
    void postAfterNap(Job& job) TELVORA_EXCLUDES(m_lock);

    /// Runs `work` beside whatever else runs; what it throws ends there. Throws std::bad_alloc.
    void post(Work work);

    /// Waits until no job waits or runs; false when `deadline` came first. Ends naps. Not to be
    /// called from a job.
    bool waitUntilIdle(std::chrono::steady_clock::time_point deadline) TELVORA_EXCLUDES(m_lock);

    /// Lets workers that have nothing to do end, the last one too. Jobs may still be posted.
    void retire() TELVORA_EXCLUDES(m_lock);

    /// While it lives, the calling thread waits for another one. If it is a worker, another one
    /// may be started in its place.
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
    enum class Help {
        none,
        wakeWorker,
        startWorker,
    };

    void work() TELVORA_EXCLUDES(m_lock);
    /// Null when the worker is to end.
    Job* nextJob() TELVORA_EXCLUDES(m_lock);
    Job* takeJob() TELVORA_REQUIRES(m_lock);
    void nap() TELVORA_REQUIRES(m_lock);
    /// False when the worker is to end.
    bool sleepUntilCalled() TELVORA_REQUIRES(m_lock);
    bool isIdle() const TELVORA_REQUIRES(m_lock);

    /// What is needed to have an attentive worker. Whoever asks calls give() with it, without the
    /// lock.
    Help callForHelp() TELVORA_REQUIRES(m_lock);
    void give(Help help) TELVORA_EXCLUDES(m_lock);

    const StartThread m_startThread;
    const std::size_t m_mostRunnable;

    Mutex m_lock;
    std::condition_variable_any m_call;
    std::condition_variable_any m_endOfNap;
    std::condition_variable_any m_idle;
    JobList m_jobs TELVORA_GUARDED_BY(m_lock);
    /// Those that wait for the end of a nap; all wait for the same time, so the first is due first.
    JobList m_jobsAfterNap TELVORA_GUARDED_BY(m_lock);

    std::size_t m_workers TELVORA_GUARDED_BY(m_lock) = 0;
    /// Workers that are not blocked, those that are being started included.
    std::size_t m_runnable TELVORA_GUARDED_BY(m_lock) = 0;
    std::size_t m_attentive TELVORA_GUARDED_BY(m_lock) = 0;
    std::size_t m_asleep TELVORA_GUARDED_BY(m_lock) = 0;
    /// Sleepers that are called and have not woken up yet.
    std::size_t m_called TELVORA_GUARDED_BY(m_lock) = 0;
    std::size_t m_running TELVORA_GUARDED_BY(m_lock) = 0;
    std::size_t m_waitingForRest TELVORA_GUARDED_BY(m_lock) = 0;
    bool m_isRetired TELVORA_GUARDED_BY(m_lock) = false;
};

} // namespace telvora::detail
