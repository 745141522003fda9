#include <Telvora/Platform/Curl/CurlWorker.h>

#include <Telvora/Platform/Curl/CurlLibrary.h>

#include <memory>
#include <new>
#include <utility>

namespace telvora::detail {

namespace {

void call(CurlJob& job) noexcept
{
    try {
        if (job.completion)
            job.completion(std::move(job.answer));
    } catch (...) {
        // No caller waits for the completion, so the exception has no receiver.
    }
}

// Completes a request on the caller's thread, because the client has no thread for it.
void completeAtOnce(HTTPClient::Completion completion, const char* reason)
{
    CurlJob job({}, std::move(completion));
    job.fail(reason);
    call(job);
}

} // namespace

CurlWorker::CurlWorker(StartThread startThread, const Clock& clock, CurlHTTPOptions options)
    : m_startThread(startThread)
    , m_clock(clock)
    , m_options(std::move(options))
{
    registerExitHandlerOfOpenSSL();
}

CurlWorker::~CurlWorker()
{
    waitForEnd();
    CurlJobs arrived;
    {
        MutexLock lock(m_lock);
        arrived.swap(m_arrived);
    }
    fail(std::move(arrived), "Client destroyed");
}

// The analysis does not follow a condition variable.
void CurlWorker::waitForEnd() TELVORA_NO_THREAD_SAFETY_ANALYSIS
{
    std::unique_lock lock(m_lock.native());
    m_isStopping = true;
    if (m_loop)
        m_loop->wake();
    while (m_isRunning)
        m_ended.wait(lock);
}

bool CurlWorker::canStop()
{
    return !isForkedChild() && !ExitGate::isClosed();
}

std::size_t CurlWorker::inFlight() const
{
    return isForkedChild() ? 0 : m_inFlight.load(std::memory_order_acquire);
}

void CurlWorker::send(HTTPRequest request, HTTPClient::Completion completion)
{
    // A lock that a thread of the parent held at the fork stays taken in the child for ever.
    if (isForkedChild())
        return completeAtOnce(
            std::move(completion), "Process forked after the library's first use");
    noteUse();

    CurlJobs job;
    try {
        // Moves neither argument before it has the memory.
        job.emplace_back(std::move(request), std::move(completion));
    } catch (const std::bad_alloc&) {
        return completeAtOnce(std::move(completion), outOfMemory);
    }
    {
        MutexLock lock(m_lock);
        if (m_isRunning || start()) {
            bool mayBeAsleep = m_arrived.empty();
            m_inFlight.fetch_add(1, std::memory_order_relaxed);
            m_arrived.splice(m_arrived.end(), job);
            if (mayBeAsleep && m_loop)
                m_loop->wake();
            return;
        }
    }
    job.front().fail("The system refused a thread");
    call(job.front());
}

bool CurlWorker::start() noexcept
{
    ExitGate::watch();
    try {
        m_isRunning = m_startThread("telvora-http", [this] { run(); });
    } catch (const std::exception&) {
        // Without memory the thread did not start.
    }
    return m_isRunning;
}

void CurlWorker::run()
{
    std::unique_ptr<CurlLoop> loop = makeLoop();
    while (!loop) {
        if (!failArrived("libcurl does not start"))
            return;
        loop = makeLoop();
    }
    publish(loop.get());
    serve(*loop);
    if (isForkedChild()) {
        // The connections are the parent's, so nothing may close them here.
        static_cast<void>(loop.release());
        return;
    }
    publish(nullptr);
    CurlJobs left;
    {
        CurlScope scope;
        left = loop->abandon("Client destroyed");
        loop.reset();
        releaseThreadFromOpenSSL();
    }
    complete(std::move(left));
    while (failArrived("Client destroyed")) { }
}

std::unique_ptr<CurlLoop> CurlWorker::makeLoop() noexcept
{
    CurlScope scope;
    try {
        if (setUpLibcurl()) {
            auto loop = std::make_unique<CurlLoop>(m_options, m_clock);
            if (loop->isUsable())
                return loop;
        }
    } catch (const std::exception&) {
        // Treated like a libcurl that does not start.
    }
    return nullptr;
}

void CurlWorker::serve(CurlLoop& loop)
{
    CurlJobs arrived;
    while (takeArrived(arrived)) {
        CurlJobs over;
        {
            CurlScope scope;
            loop.add(arrived);
            over = loop.advance();
        }
        if (over.empty()) {
            loop.wait();
            continue;
        }
        const auto begin = m_clock.steadyNow();
        complete(std::move(over));
        if (isForkedChild())
            return;
        loop.excludeFromTimeouts(m_clock.steadyNow() - begin);
    }
}

bool CurlWorker::takeArrived(CurlJobs& arrived)
{
    MutexLock lock(m_lock);
    if (m_isStopping)
        return false;
    arrived.swap(m_arrived);
    return true;
}

void CurlWorker::publish(CurlLoop* loop)
{
    MutexLock lock(m_lock);
    m_loop = loop;
}

void CurlWorker::complete(CurlJobs jobs)
{
    while (!jobs.empty()) {
        // The objects that the completion uses may be destroyed already.
        if (ExitGate::isClosed())
            sleepForever();
        call(jobs.front());
        if (isForkedChild())
            return; // The completion forked, and this is the child.
        jobs.pop_front();
        m_inFlight.fetch_sub(1, std::memory_order_release);
    }
}

void CurlWorker::fail(CurlJobs jobs, const char* reason)
{
    for (CurlJob& job : jobs)
        job.fail(reason);
    complete(std::move(jobs));
}

bool CurlWorker::failArrived(const char* reason)
{
    CurlJobs arrived;
    {
        MutexLock lock(m_lock);
        arrived.swap(m_arrived);
    }
    fail(std::move(arrived), reason);
    if (isForkedChild())
        return false;
    MutexLock lock(m_lock);
    m_isRunning = !m_arrived.empty();
    // With the lock held, because the waiting thread may destroy the worker right afterwards.
    if (!m_isRunning)
        m_ended.notify_all();
    return m_isRunning;
}

} // namespace telvora::detail
