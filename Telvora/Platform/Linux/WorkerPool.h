#pragma once

#include <Telvora/Base/Mutex.h>
#include <Telvora/Platform/Linux/Futex.h>
#include <Telvora/Platform/Linux/Job.h>

#include <atomic>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <vector>

namespace telvora {

/// The threads that run asynchronous work.
///
/// What it is built around: waking a thread costs the waker some microseconds, a hundred times
/// what handing over a job costs. So a worker that has run out of jobs first naps for a quarter of
/// a millisecond: jobs that come meanwhile wait for the end of the nap and wake nobody. Only a
/// worker whose nap brought nothing goes to sleep, and the next job wakes it at once. A process
/// that submits nothing has no wakeups.
///
/// A job that a worker posts nearby waits on that worker's own list until its current job is done.
/// Whenever a job is posted and no worker is attentive (searching or napping), one is woken or
/// started, so there is always somebody to take the jobs of a worker that is stuck in a long one.
///
/// Life: one for the process, made on first use, never destroyed. Starts no thread before the
/// first job. A worker that has slept for five seconds ends, but for the last one.
/// Threads: every operation from any thread. Ours are called "telvora-worker", take no signals and
/// are not waited for when the process ends. In a forked child jobs are kept and never run.
/// Failure: where the system refuses a thread, jobs wait for the next occasion to start one.
class WorkerPool {
public:
    static WorkerPool& shared();

    /// Hands `job` to whichever worker comes first.
    void post(Job& job);

    /// From a worker: onto its own list. From elsewhere as post().
    void postNearby(Job& job);

    /// From a worker: lets `job` wait until the worker has done what else it has and napped.
    void postAfterNap(Job& job);

    /// As post(), and ends a nap: a thread waits for what the job does.
    void postUrgently(Job& job);

    /// No job waits and none is running.
    bool isIdle() TELVORA_EXCLUDES(m_lock);

    /// Grows with every job started: whoever looked twice and saw the same number knows that
    /// nothing ran in between.
    std::uint64_t jobsStarted() TELVORA_EXCLUDES(m_lock);

    /// Ends the nap of a worker, if one naps.
    void endNap();

    /// While it lives the calling thread, if it is a worker, is blocked and another one may run in
    /// its place.
    class Blocked {
    public:
        Blocked();
        ~Blocked();
        Blocked(const Blocked&) = delete;
        Blocked& operator=(const Blocked&) = delete;
    };

private:
    struct Worker;

    WorkerPool();

    static Worker*& currentWorker();

    void work(Worker& self);
    Job* nextJob(Worker& self);
    /// Null when the worker has become attentive; it then naps first if it has jobs that can wait.
    Job* takeWhileBusy(Worker& self, bool& napsFirst);
    Job* lookAround(Worker& self, bool& isWorthWatching);
    Job* takeShared() TELVORA_REQUIRES(m_lock);
    /// A nearby job of a worker that has been in one and the same job since the last look.
    Job* takeStuck(Worker& self, bool& isWorthWatching) TELVORA_REQUIRES(m_lock);
    bool hasShared() const TELVORA_REQUIRES(m_lock);
    bool hasNearby() TELVORA_REQUIRES(m_lock);
    void nap(std::uint32_t napNumber, std::chrono::nanoseconds length);
    /// False when the worker is to end instead.
    bool sleepUntilNeeded(Worker& self);
    bool endWorker(Worker& self);

    /// Sees to it that somebody is attentive.
    void reinforce() TELVORA_EXCLUDES(m_lock);
    void startWorker();
    void block(Worker& self);
    void unblock();

    /// Newest in front; lock-free for those who post.
    alignas(64) std::atomic<Job*> m_inbox { nullptr };
    /// Workers that will look for jobs before they sleep.
    alignas(64) std::atomic<std::uint32_t> m_attentive { 0 };
    FutexWord m_napsEnded { 0 };

    alignas(64) Mutex m_lock;
    JobList m_jobs TELVORA_GUARDED_BY(m_lock);
    std::vector<Worker*> m_workers TELVORA_GUARDED_BY(m_lock);
    /// The last one fell asleep last.
    std::vector<Worker*> m_sleepers TELVORA_GUARDED_BY(m_lock);
    /// Workers that are not blocked, those on their way into the world included.
    std::size_t m_runnable TELVORA_GUARDED_BY(m_lock) = 0;
    std::uint64_t m_jobsOfEndedWorkers TELVORA_GUARDED_BY(m_lock) = 0;
    const std::size_t m_mostRunnable;
};

} // namespace telvora
