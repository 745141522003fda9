#include <Telvora/Platform/Linux/CurlWorker.h>

#include <Telvora/Platform/Linux/CurlLibrary.h>
#include <Telvora/Platform/Linux/ForkedChild.h>
#include <Telvora/Platform/Linux/LinuxThread.h>

#include <algorithm>
#include <chrono>
#include <memory>
#include <utility>

namespace telvora {

namespace {

// Long enough for anybody, short enough for the sums of clocks and of libcurl.
constexpr std::chrono::seconds longestTimeout = std::chrono::hours(24);

/// Completes a request on the caller's thread, where no other can do it.
void completeAtOnce(HTTPClient::Completion completion, const char* reason)
{
    HTTPAnswer answer;
    answer.error = reason;
    try {
        if (completion)
            completion(std::move(answer));
    } catch (...) {
        // The sender is not the one to hear of it.
    }
}

} // namespace

CurlWorker::CurlWorker(LinuxHTTPOptions options)
    : m_options(std::move(options))
{
    registerExitHandlerOfOpenSSL();
}

CurlWorker::~CurlWorker()
{
    waitForEnd();
    std::vector<CurlJob> arrived;
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
    return !isForkedChild() && !detail::ExitGate::isClosed();
}

std::size_t CurlWorker::inFlight() const
{
    return isForkedChild() ? 0 : m_inFlight.load(std::memory_order_acquire);
}

void CurlWorker::send(HTTPRequest request, HTTPClient::Completion completion)
{
    // Whatever locks the parent's threads held at the fork, they hold here for ever.
    if (isForkedChild())
        return completeAtOnce(std::move(completion), "Process forked after its first request");
    watchForForks();
    detail::noteUse();
    auto timeout = std::min(request.timeout, longestTimeout);
    auto deadline = std::chrono::steady_clock::now() + timeout;

    {
        MutexLock lock(m_lock);
        bool mayBeAsleep = m_arrived.empty();
        if (m_isRunning || start()) {
            m_inFlight.fetch_add(1, std::memory_order_relaxed);
            m_arrived.push_back({ std::move(request), std::move(completion), deadline });
            if (mayBeAsleep && m_loop)
                m_loop->wake();
            return;
        }
    }
    completeAtOnce(std::move(completion), "No thread");
}

bool CurlWorker::start()
{
    detail::ExitGate::watch();
    m_isRunning = startDetachedThread("telvora-http", [this] { run(); });
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
    publish(nullptr);
    std::vector<CurlResult> left;
    {
        CurlScope scope;
        left = loop->abandon("Client destroyed");
        loop.reset();
        releaseThreadFromOpenSSL();
    }
    complete(std::move(left));
    while (failArrived("Client destroyed")) { }
}

std::unique_ptr<CurlLoop> CurlWorker::makeLoop()
{
    CurlScope scope;
    std::unique_ptr<CurlLoop> loop;
    if (setUpLibcurl())
        loop = std::make_unique<CurlLoop>(m_options);
    return loop && loop->isUsable() ? std::move(loop) : nullptr;
}

void CurlWorker::serve(CurlLoop& loop)
{
    std::vector<CurlJob> arrived;
    while (takeArrived(arrived)) {
        std::vector<CurlResult> results;
        {
            CurlScope scope;
            for (CurlJob& job : arrived)
                loop.add(std::move(job));
            results = loop.advance();
        }
        arrived.clear();
        if (results.empty())
            loop.wait();
        else
            complete(std::move(results));
    }
}

bool CurlWorker::takeArrived(std::vector<CurlJob>& arrived)
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

void CurlWorker::complete(std::vector<CurlResult> results)
{
    for (CurlResult& result : results) {
        // What the completion refers to may be gone.
        if (detail::ExitGate::isClosed())
            sleepForGood();
        try {
            if (result.completion)
                result.completion(std::move(result.answer));
        } catch (...) {
            // Nobody above could make anything of it.
        }
        result.completion.reset();
        m_inFlight.fetch_sub(1, std::memory_order_release);
    }
}

void CurlWorker::fail(std::vector<CurlJob> jobs, const char* reason)
{
    std::vector<CurlResult> results;
    for (CurlJob& job : jobs) {
        HTTPAnswer answer;
        answer.error = reason;
        results.push_back({ std::move(job.completion), std::move(answer) });
    }
    complete(std::move(results));
}

bool CurlWorker::failArrived(const char* reason)
{
    std::vector<CurlJob> arrived;
    {
        MutexLock lock(m_lock);
        arrived.swap(m_arrived);
    }
    fail(std::move(arrived), reason);
    MutexLock lock(m_lock);
    m_isRunning = !m_arrived.empty();
    // With the lock held: who waits for it may destroy the worker right after.
    if (!m_isRunning)
        m_ended.notify_all();
    return m_isRunning;
}

} // namespace telvora
