#include <Telvora/Platform/Dispatch/WorkerPool.h>

#include <Telvora/Base/ForkedChild.h>
#include <Telvora/Platform/Dispatch/RunBlock.h>

#include <algorithm>
#include <thread>
#include <utility>

namespace telvora::detail {

namespace {

// A job may block in a way that the pool does not see (on a lock of the host's), so a small machine
// gets a few threads more than it has cores. They start only while all other workers are busy.
constexpr std::size_t maximumRunnableOnSmallMachine = 4;

// The pool whose worker this thread is.
constinit thread_local WorkerPool* t_pool = nullptr;

struct WorkJob final : Job {
    explicit WorkJob(Work theWork)
        : work(std::move(theWork))
    {
    }

    void run() noexcept override
    {
        const std::unique_ptr<WorkJob> self(this);
        runBlock(work);
    }

    Work work;
};

} // namespace

WorkerPool::WorkerPool(StartThread startThread, WorkerTimes times)
    : m_startThread(startThread)
    , m_times(times)
{
}

void WorkerPool::post(Job& job)
{
    if (isForkedChild())
        return;
    Action action;
    {
        const MutexLock lock(m_lock);
        m_jobs.append(job);
        action = requestWorker();
    }
    perform(action);
}

void WorkerPool::postDelayed(Job& job)
{
    if (isForkedChild())
        return;
    job.notBefore = std::chrono::steady_clock::now() + m_times.shortWait;
    const MutexLock lock(m_lock);
    m_delayedJobs.append(job);
}

void WorkerPool::post(Work work)
{
    if (isForkedChild())
        return;
    auto job = std::make_unique<WorkJob>(std::move(work));
    post(*job.release());
}

bool WorkerPool::waitUntilIdle(std::chrono::steady_clock::time_point deadline)
{
    if (isForkedChild())
        return true;
    const MutexLock lock(m_lock);
    ++m_idleWaiters;
    m_endOfShortWait.notify_all();
    bool isInTime = true;
    while (!isIdle() && isInTime)
        isInTime = m_idle.wait_until(m_lock, deadline) == std::cv_status::no_timeout;
    --m_idleWaiters;
    return isIdle();
}

bool WorkerPool::isWorker() const
{
    return t_pool == this;
}

void WorkerPool::retire()
{
    if (isForkedChild())
        return;
    {
        const MutexLock lock(m_lock);
        m_isRetired = true;
    }
    m_endOfShortWait.notify_all();
    m_wakeup.notify_all();
}

WorkerPool::Counts WorkerPool::counts()
{
    const MutexLock lock(m_lock);
    return { .workers = m_workers, .asleep = m_asleep, .running = m_running, .wakes = m_wakes };
}

bool WorkerPool::isIdle() const
{
    return m_jobs.isEmpty() && m_delayedJobs.isEmpty() && m_running == 0;
}

bool WorkerPool::mayStartWorker()
{
    if (m_runnable < maximumRunnableOnSmallMachine)
        return true;
    if (m_processors == 0)
        m_processors = std::max(1u, std::thread::hardware_concurrency());
    return m_runnable < m_processors;
}

WorkerPool::Action WorkerPool::requestWorker()
{
    if (m_available > 0)
        return Action::none;
    if (m_asleep > 0) {
        --m_asleep;
        ++m_notified;
        ++m_available;
        ++m_wakes;
        return Action::wakeWorker;
    }
    if (!mayStartWorker())
        return Action::none; // A busy worker looks for more jobs after each job.
    ++m_workers;
    ++m_runnable;
    ++m_available;
    return Action::startWorker;
}

void WorkerPool::perform(Action action)
{
    switch (action) {
    case Action::none:
        return;
    case Action::wakeWorker:
        m_wakeup.notify_one();
        return;
    case Action::startWorker:
        break;
    }
    if (m_startThread("telvora-worker", [self = shared_from_this()] { self->work(); }))
        return;
    const MutexLock lock(m_lock);
    --m_workers;
    --m_runnable;
    --m_available;
}

void WorkerPool::work()
{
    t_pool = this;
    while (Job* const job = nextJob()) {
        job->run();
        if (isForkedChild())
            return; // The job forked, and this is the child, which has no pool.
        const MutexLock lock(m_lock);
        --m_running;
        ++m_available;
    }
    t_pool = nullptr;
}

Job* WorkerPool::nextJob()
{
    Job* job = nullptr;
    Action action = Action::none;
    {
        const MutexLock lock(m_lock);
        bool hasWaited = false;
        while (!(job = takeJob())) {
            if (m_idleWaiters > 0 && isIdle())
                m_idle.notify_all();
            if (!hasWaited) {
                waitShortly();
                hasWaited = true;
            } else if (sleepUntilNotified()) {
                hasWaited = false;
            } else {
                return nullptr;
            }
        }
        --m_available;
        ++m_running;
        if (!m_jobs.isEmpty() || !m_delayedJobs.isEmpty())
            action = requestWorker();
    }
    perform(action);
    return job;
}

Job* WorkerPool::takeJob()
{
    // Delayed jobs come first: a pool that never runs out of jobs would otherwise not run them.
    const bool isDelayOver = !m_delayedJobs.isEmpty()
        && (m_idleWaiters > 0
            || m_delayedJobs.first()->notBefore <= std::chrono::steady_clock::now());
    return isDelayOver ? m_delayedJobs.takeFirst() : m_jobs.takeFirst();
}

void WorkerPool::waitShortly()
{
    const auto end = std::chrono::steady_clock::now() + m_times.shortWait;
    while (!mustEndShortWaits()
        && m_endOfShortWait.wait_until(m_lock, end) == std::cv_status::no_timeout) { }
}

// A retired worker still waits for a delayed job: without the wait it would look for the job again
// and again.
bool WorkerPool::mustEndShortWaits() const
{
    return m_idleWaiters > 0 || (m_isRetired && m_delayedJobs.isEmpty());
}

bool WorkerPool::sleepUntilNotified()
{
    if (!m_delayedJobs.isEmpty()) {
        // Another worker has just posted a delayed job. This worker stays available for it.
        return true;
    }
    --m_available;
    // One sleeping worker stays. It sleeps without a limit, so that an idle process has no wakeups.
    bool mayStay = m_asleep == 0;
    ++m_asleep;
    const auto end = std::chrono::steady_clock::now() + m_times.longestSleep;
    while (m_notified == 0 && !m_isRetired) {
        if (mayStay)
            m_wakeup.wait(m_lock);
        else if (m_wakeup.wait_until(m_lock, end) == std::cv_status::no_timeout)
            continue;
        else if (m_asleep > 1)
            break;
        else
            mayStay = true;
    }
    if (m_notified > 0) {
        --m_notified;
        return true;
    }
    --m_asleep;
    --m_workers;
    --m_runnable;
    return false;
}

WorkerPool::Blocked::Blocked(WorkerPool& pool)
    : m_pool(t_pool == &pool ? &pool : nullptr)
{
    if (!m_pool)
        return;
    Action action = Action::none;
    {
        const MutexLock lock(m_pool->m_lock);
        --m_pool->m_runnable;
        if (!m_pool->m_jobs.isEmpty() || !m_pool->m_delayedJobs.isEmpty())
            action = m_pool->requestWorker();
    }
    m_pool->perform(action);
}

WorkerPool::Blocked::~Blocked()
{
    if (!m_pool || isForkedChild())
        return;
    const MutexLock lock(m_pool->m_lock);
    ++m_pool->m_runnable;
}

} // namespace telvora::detail
