#include <Telvora/Platform/Dispatch/WorkerPool.h>

#include <Telvora/Base/ForkedChild.h>

#include <algorithm>
#include <thread>
#include <utility>

namespace telvora::detail {

namespace {

using namespace std::chrono_literals;

constexpr auto napLength = 250us;
constexpr auto longestSleep = 5s;

// Jobs may block in ways that we do not see (a lock of the host's), so a small machine gets a few
// threads more than it has cores. They are started only while all others are busy.
constexpr std::size_t fewestRunnable = 4;

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
        try {
            work();
        } catch (...) {
            // Nobody waits for the work, so nobody can be told.
        }
    }

    Work work;
};

} // namespace

void JobList::append(Job& job)
{
    job.next = nullptr;
    (m_first ? m_last->next : m_first) = &job;
    m_last = &job;
}

Job* JobList::takeFirst()
{
    Job* const job = m_first;
    if (job)
        m_first = job->next;
    return job;
}

WorkerPool::WorkerPool(StartThread startThread)
    : m_startThread(startThread)
    , m_mostRunnable(std::max<std::size_t>(fewestRunnable, std::thread::hardware_concurrency()))
{
}

void WorkerPool::post(Job& job)
{
    if (isForkedChild())
        return;
    Help help;
    {
        const MutexLock lock(m_lock);
        m_jobs.append(job);
        help = callForHelp();
    }
    give(help);
}

void WorkerPool::postAfterNap(Job& job)
{
    if (isForkedChild())
        return;
    job.notBefore = std::chrono::steady_clock::now() + napLength;
    const MutexLock lock(m_lock);
    m_jobsAfterNap.append(job);
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
    ++m_waitingForRest;
    m_endOfNap.notify_all();
    bool isInTime = true;
    while (!isIdle() && isInTime)
        isInTime = m_idle.wait_until(m_lock, deadline) == std::cv_status::no_timeout;
    --m_waitingForRest;
    return isIdle();
}

void WorkerPool::retire()
{
    if (isForkedChild())
        return;
    {
        const MutexLock lock(m_lock);
        m_isRetired = true;
    }
    m_call.notify_all();
}

bool WorkerPool::isIdle() const
{
    return m_jobs.isEmpty() && m_jobsAfterNap.isEmpty() && m_running == 0;
}

WorkerPool::Help WorkerPool::callForHelp()
{
    if (m_attentive > 0)
        return Help::none;
    if (m_asleep > 0) {
        --m_asleep;
        ++m_called;
        ++m_attentive;
        return Help::wakeWorker;
    }
    if (m_runnable >= m_mostRunnable)
        return Help::none; // Those who are busy look here after each job.
    ++m_workers;
    ++m_runnable;
    ++m_attentive;
    return Help::startWorker;
}

void WorkerPool::give(Help help)
{
    switch (help) {
    case Help::none:
        return;
    case Help::wakeWorker:
        m_call.notify_one();
        return;
    case Help::startWorker:
        break;
    }
    if (m_startThread("telvora-worker", [self = shared_from_this()] { self->work(); }))
        return;
    const MutexLock lock(m_lock);
    --m_workers;
    --m_runnable;
    --m_attentive;
}

void WorkerPool::work()
{
    t_pool = this;
    while (Job* const job = nextJob()) {
        job->run();
        if (isForkedChild())
            return; // The job forked, and this is the child: there is no pool here.
        const MutexLock lock(m_lock);
        --m_running;
        ++m_attentive;
    }
    t_pool = nullptr;
}

Job* WorkerPool::nextJob()
{
    Job* job = nullptr;
    Help help = Help::none;
    {
        const MutexLock lock(m_lock);
        bool hasNapped = false;
        while (!(job = takeJob())) {
            if (m_waitingForRest > 0 && isIdle())
                m_idle.notify_all();
            if (!hasNapped) {
                nap();
                hasNapped = true;
            } else if (sleepUntilCalled()) {
                hasNapped = false;
            } else {
                return nullptr;
            }
        }
        --m_attentive;
        ++m_running;
        if (!m_jobs.isEmpty() || !m_jobsAfterNap.isEmpty())
            help = callForHelp();
    }
    give(help);
    return job;
}

Job* WorkerPool::takeJob()
{
    // Before the others, or a pool that never runs out of jobs would never come to them.
    const bool isAnyAwake = !m_jobsAfterNap.isEmpty()
        && (m_waitingForRest > 0
            || m_jobsAfterNap.first()->notBefore <= std::chrono::steady_clock::now());
    return isAnyAwake ? m_jobsAfterNap.takeFirst() : m_jobs.takeFirst();
}

void WorkerPool::nap()
{
    const auto end = std::chrono::steady_clock::now() + napLength;
    while (m_waitingForRest == 0
        && m_endOfNap.wait_until(m_lock, end) == std::cv_status::no_timeout) { }
}

bool WorkerPool::sleepUntilCalled()
{
    if (!m_jobsAfterNap.isEmpty()) {
        // Posted just now by another worker, which naps itself; this one stays attentive with it.
        return true;
    }
    --m_attentive;
    ++m_asleep;
    const auto end = std::chrono::steady_clock::now() + longestSleep;
    bool hasSleptLong = false;
    while (m_called == 0 && !m_isRetired) {
        if (m_workers == 1)
            m_call.wait(m_lock);
        else if (hasSleptLong)
            break;
        else
            hasSleptLong = m_call.wait_until(m_lock, end) == std::cv_status::timeout;
    }
    if (m_called > 0) {
        --m_called;
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
    Help help = Help::none;
    {
        const MutexLock lock(m_pool->m_lock);
        --m_pool->m_runnable;
        if (!m_pool->m_jobs.isEmpty() || !m_pool->m_jobsAfterNap.isEmpty())
            help = m_pool->callForHelp();
    }
    m_pool->give(help);
}

WorkerPool::Blocked::~Blocked()
{
    if (!m_pool || isForkedChild())
        return;
    const MutexLock lock(m_pool->m_lock);
    ++m_pool->m_runnable;
}

} // namespace telvora::detail
