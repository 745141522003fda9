#include <Telvora/Platform/Linux/WorkerPool.h>

#include <Telvora/Platform/Linux/ForkedChild.h>
#include <Telvora/Platform/Linux/LinuxThread.h>

#include <algorithm>
#include <memory>
#include <thread>
#include <utility>

namespace telvora {

namespace {

using namespace std::chrono_literals;

constexpr auto napLength = 250us;
/// Of a worker that stays awake only because another one is at work.
constexpr auto watchLength = 1ms;
constexpr auto longestSleep = 5s;

/// Jobs may block in ways we do not see (a lock of the host's), so a small machine gets a few
/// threads more than it has cores. They are started only when all others are busy.
constexpr std::size_t fewestRunnable = 4;

} // namespace

struct WorkerPool::Worker {
    Mutex lock;
    /// Jobs posted by this worker's own job.
    JobList nearby TELVORA_GUARDED_BY(lock);
    std::atomic<std::uint64_t> jobsStarted { 0 };
    FutexWord isCalled { 0 };
    bool prefersShared = false;
    /// Jobs that have time until after the next nap. The worker's own.
    JobList later;

    // Guarded by the pool's lock.
    bool isBusy = false;
    /// jobsStarted when somebody last found jobs on the list of nearby ones.
    std::uint64_t jobsStartedWhenSeen = 0;

    // The worker's own view of how many jobs all workers had started when it last looked around.
    std::uint64_t activitySeen = 0;
};

WorkerPool& WorkerPool::shared()
{
    static WorkerPool& pool = *new WorkerPool;
    return pool;
}

WorkerPool::WorkerPool()
    : m_mostRunnable(std::max<std::size_t>(fewestRunnable, std::thread::hardware_concurrency()))
{
    watchForForks();
}

WorkerPool::Worker*& WorkerPool::currentWorker()
{
    [[gnu::tls_model("initial-exec")]] static constinit thread_local Worker* worker = nullptr;
    return worker;
}

void WorkerPool::post(Job& job)
{
    // Sequentially consistent, like the count of the attentive: either we see that nobody is, or
    // the worker that ceases to be sees the job.
    job.next = m_inbox.load(std::memory_order_relaxed);
    while (!m_inbox.compare_exchange_weak(
        job.next, &job, std::memory_order_seq_cst, std::memory_order_relaxed)) { }
    if (m_attentive.load(std::memory_order_seq_cst) == 0)
        reinforce();
}

void WorkerPool::postNearby(Job& job)
{
    Worker* const self = currentWorker();
    if (!self) {
        post(job);
        return;
    }
    {
        MutexLock lock(self->lock);
        self->nearby.append(job);
    }
    if (m_attentive.load(std::memory_order_seq_cst) == 0)
        reinforce();
}

void WorkerPool::postAfterNap(Job& job)
{
    currentWorker()->later.append(job);
}

void WorkerPool::postUrgently(Job& job)
{
    post(job);
    endNap();
}

void WorkerPool::endNap()
{
    m_napsEnded.fetch_add(1, std::memory_order_seq_cst);
    futexWake(m_napsEnded);
}

bool WorkerPool::isIdle()
{
    MutexLock lock(m_lock);
    return !hasShared()
        && std::none_of(m_workers.begin(), m_workers.end(),
            [](const Worker* worker) { return worker->isBusy; });
}

std::uint64_t WorkerPool::jobsStarted()
{
    MutexLock lock(m_lock);
    std::uint64_t sum = m_jobsOfEndedWorkers;
    for (const Worker* worker : m_workers)
        sum += worker->jobsStarted.load(std::memory_order_relaxed);
    return sum;
}

bool WorkerPool::hasShared() const
{
    return !m_jobs.isEmpty() || m_inbox.load(std::memory_order_seq_cst);
}

void WorkerPool::reinforce()
{
    if (isForkedChild())
        return;
    {
        MutexLock lock(m_lock);
        if (m_attentive.load(std::memory_order_seq_cst) > 0)
            return;
        if (!m_sleepers.empty()) {
            Worker& sleeper = *m_sleepers.back();
            m_sleepers.pop_back();
            m_attentive.fetch_add(1, std::memory_order_seq_cst);
            sleeper.isCalled.store(1, std::memory_order_release);
            // With the lock held: a worker that has been called may end, but not before it has
            // had the lock.
            futexWake(sleeper.isCalled);
            return;
        }
        if (m_runnable >= m_mostRunnable)
            return; // Those who are busy look here after each job.
        ++m_runnable;
        m_attentive.fetch_add(1, std::memory_order_seq_cst);
    }
    startWorker();
}

void WorkerPool::startWorker()
{
    const bool isStarted = startDetachedThread("telvora-worker", [this] {
        auto worker = std::make_unique<Worker>();
        {
            MutexLock lock(m_lock);
            m_workers.push_back(worker.get());
        }
        currentWorker() = worker.get();
        work(*worker);
        currentWorker() = nullptr;
    });
    if (!isStarted) {
        MutexLock lock(m_lock);
        --m_runnable;
        m_attentive.fetch_sub(1, std::memory_order_seq_cst);
    }
}

void WorkerPool::work(Worker& self)
{
    while (Job* const job = nextJob(self)) {
        self.jobsStarted.store(
            self.jobsStarted.load(std::memory_order_relaxed) + 1, std::memory_order_relaxed);
        job->run(*job);
        if (isForkedChild())
            return; // The job forked, and this is the child.
    }
}

Job* WorkerPool::nextJob(Worker& self)
{
    bool hasNapped = false;
    // Read before the worker becomes attentive, so that no call to end the nap is missed.
    std::uint32_t napNumber = m_napsEnded.load(std::memory_order_seq_cst);
    if (self.isBusy) {
        if (Job* const job = takeWhileBusy(self, hasNapped))
            return job;
        if (hasNapped)
            nap(napNumber, napLength);
    }
    for (;;) {
        napNumber = m_napsEnded.load(std::memory_order_seq_cst);
        bool isWorthWatching = false;
        if (Job* const job = lookAround(self, isWorthWatching))
            return job;
        if (!hasNapped)
            nap(napNumber, napLength);
        else if (isWorthWatching)
            nap(napNumber, watchLength);
        else if (!sleepUntilNeeded(self))
            return nullptr;
        hasNapped = true;
    }
}

Job* WorkerPool::takeWhileBusy(Worker& self, bool& napsFirst)
{
    // In turns, so that neither list can starve the other.
    self.prefersShared = !self.prefersShared;
    Job* job = nullptr;
    if (!self.prefersShared) {
        MutexLock lock(self.lock);
        job = self.nearby.takeFirst();
    }
    if (job)
        return job;

    bool needsHelp = false;
    {
        MutexLock lock(m_lock);
        napsFirst = !self.later.isEmpty();
        if (!napsFirst)
            job = takeShared();
        if (!job) {
            MutexLock nearbyLock(self.lock);
            job = self.nearby.takeFirst();
        }
        if (!job) {
            self.isBusy = false;
            m_jobs.append(std::move(self.later));
            m_attentive.fetch_add(1, std::memory_order_seq_cst);
        } else {
            needsHelp = hasShared() && m_attentive.load(std::memory_order_seq_cst) == 0;
        }
    }
    if (needsHelp)
        reinforce();
    return job;
}

Job* WorkerPool::lookAround(Worker& self, bool& isWorthWatching)
{
    Job* job = nullptr;
    bool needsHelp = false;
    {
        MutexLock lock(m_lock);
        job = takeShared();
        if (!job)
            job = takeStuck(self, isWorthWatching);
        if (job) {
            self.isBusy = true;
            const auto attentive = m_attentive.fetch_sub(1, std::memory_order_seq_cst) - 1;
            needsHelp = attentive == 0 && (hasShared() || hasNearby());
        }
    }
    if (needsHelp)
        reinforce();
    return job;
}

Job* WorkerPool::takeShared()
{
    if (m_jobs.isEmpty() && m_inbox.load(std::memory_order_relaxed))
        m_jobs.appendReversed(m_inbox.exchange(nullptr, std::memory_order_seq_cst));
    return m_jobs.takeFirst();
}

Job* WorkerPool::takeStuck(Worker& self, bool& isWorthWatching)
{
    std::uint64_t activity = m_jobsOfEndedWorkers;
    for (Worker* const worker : m_workers) {
        const auto started = worker->jobsStarted.load(std::memory_order_relaxed);
        activity += started;
        MutexLock lock(worker->lock);
        if (worker->nearby.isEmpty())
            continue;
        if (worker->jobsStartedWhenSeen == started)
            return worker->nearby.takeFirst();
        worker->jobsStartedWhenSeen = started;
        isWorthWatching = true;
    }
    isWorthWatching |= std::exchange(self.activitySeen, activity) != activity;
    return nullptr;
}

bool WorkerPool::hasNearby()
{
    return std::any_of(m_workers.begin(), m_workers.end(), [](Worker* worker) {
        MutexLock lock(worker->lock);
        return !worker->nearby.isEmpty();
    });
}

void WorkerPool::nap(std::uint32_t napNumber, std::chrono::nanoseconds length)
{
    futexWaitUntil(m_napsEnded, napNumber, std::chrono::steady_clock::now() + length);
}

bool WorkerPool::sleepUntilNeeded(Worker& self)
{
    {
        MutexLock lock(m_lock);
        m_attentive.fetch_sub(1, std::memory_order_seq_cst);
        if (hasShared() || hasNearby()) {
            m_attentive.fetch_add(1, std::memory_order_seq_cst);
            return true;
        }
        self.isCalled.store(0, std::memory_order_relaxed);
        m_sleepers.push_back(&self);
    }
    const auto end = std::chrono::steady_clock::now() + longestSleep;
    bool maySleepOn = false;
    while (self.isCalled.load(std::memory_order_acquire) == 0) {
        if (maySleepOn)
            futexWait(self.isCalled, 0);
        else if (!futexWaitUntil(self.isCalled, 0, end)) {
            if (endWorker(self))
                return false;
            maySleepOn = true;
        }
    }
    return true;
}

bool WorkerPool::endWorker(Worker& self)
{
    MutexLock lock(m_lock);
    const auto place = std::find(m_sleepers.begin(), m_sleepers.end(), &self);
    const bool isCalled = place == m_sleepers.end();
    if (isCalled || m_workers.size() == 1)
        return false;
    m_sleepers.erase(place);
    m_workers.erase(std::find(m_workers.begin(), m_workers.end(), &self));
    m_jobsOfEndedWorkers += self.jobsStarted.load(std::memory_order_relaxed);
    --m_runnable;
    return true;
}

WorkerPool::Blocked::Blocked()
{
    if (Worker* const self = currentWorker())
        shared().block(*self);
}

WorkerPool::Blocked::~Blocked()
{
    if (currentWorker())
        shared().unblock();
}

void WorkerPool::block(Worker& self)
{
    bool needsHelp = false;
    {
        MutexLock lock(m_lock);
        --m_runnable;
        {
            MutexLock nearbyLock(self.lock);
            m_jobs.append(std::move(self.nearby));
        }
        m_jobs.append(std::move(self.later));
        needsHelp = hasShared() && m_attentive.load(std::memory_order_seq_cst) == 0;
    }
    if (needsHelp)
        reinforce();
}

void WorkerPool::unblock()
{
    MutexLock lock(m_lock);
    ++m_runnable;
}

} // namespace telvora
