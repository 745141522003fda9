#include <Telvora/Platform/Linux/CurlWorker.h>

#include <curl/curl.h>
#include <dlfcn.h>
#include <pthread.h>
#include <signal.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdint>
#include <memory>
#include <system_error>
#include <utility>

namespace telvora {

namespace {

// Long enough for anybody, short enough for the sums of clocks and of libcurl.
constexpr std::chrono::seconds longestTimeout = std::chrono::hours(24);

/// OpenSSL frees its tables when the process ends, also in a forked child that still owns locks
/// of threads it does not have. If nobody has set it up before us, it need not. Looked up at run
/// time, because libcurl may just as well have been built with another TLS library.
void spareExitHandlerOfOpenSSL()
{
    constexpr std::uint64_t noExitHandler = 0x00080000; // OPENSSL_INIT_NO_ATEXIT
    using SetUp = int (*)(std::uint64_t, const void*);
    if (void* setUp = dlsym(RTLD_DEFAULT, "OPENSSL_init_crypto"))
        static_cast<void>(reinterpret_cast<SetUp>(setUp)(noExitHandler, nullptr));
}

/// Once for the process, and never undone: the host or another library may use libcurl too. Can
/// fail for want of descriptors, so whoever comes next tries again.
bool setUpLibcurl()
{
    static auto& lock = *new Mutex;
    static bool isSetUp = false;
    MutexLock locked(lock);
    if (!isSetUp) {
        spareExitHandlerOfOpenSSL();
        isSetUp = curl_global_init(CURL_GLOBAL_DEFAULT) == CURLE_OK;
    }
    return isSetUp;
}

/// Starts a thread that no signal of the host's is ever delivered to.
template<typename Body> std::thread startWithoutSignals(Body body)
{
    sigset_t all;
    sigset_t former;
    sigfillset(&all);
    pthread_sigmask(SIG_SETMASK, &all, &former);
    std::thread thread;
    try {
        thread = std::thread(std::move(body));
    } catch (const std::system_error&) {
        // The caller sees it by the thread that is none.
    }
    pthread_sigmask(SIG_SETMASK, &former, nullptr);
    return thread;
}

} // namespace

CurlWorker::CurlWorker(LinuxHTTPOptions options)
    : m_options(std::move(options))
    , m_process(getpid())
{
}

CurlWorker::~CurlWorker()
{
    std::thread thread;
    std::vector<CurlJob> arrived;
    {
        MutexLock lock(m_lock);
        m_isStopping = true;
        if (m_loop)
            m_loop->wake();
        thread = std::move(m_thread);
        if (!thread.joinable())
            arrived.swap(m_arrived);
    }
    if (thread.joinable())
        thread.join();
    fail(std::move(arrived), "Client destroyed");
}

bool CurlWorker::canStop() const
{
    return m_process == getpid() && !ProcessExit::current().isUnderWay();
}

void CurlWorker::send(HTTPRequest request, HTTPClient::Completion completion)
{
    // Dropped: whatever locks the parent's threads held at the fork, they hold here for ever.
    if (m_process != getpid())
        return;
    auto timeout = std::min(request.timeout, longestTimeout);
    auto deadline = std::chrono::steady_clock::now() + timeout;
    m_inFlight.fetch_add(1, std::memory_order_relaxed);

    MutexLock lock(m_lock);
    bool mayBeAsleep = m_arrived.empty();
    m_arrived.push_back({ std::move(request), std::move(completion), deadline });
    if (!m_isRunning)
        start();
    else if (mayBeAsleep && m_loop)
        m_loop->wake();
}

void CurlWorker::start()
{
    // Left over where an earlier one gave up.
    if (m_thread.joinable())
        m_thread.join();
    ProcessExit::current().watch();
    m_thread = startWithoutSignals([this] { run(); });
    m_isRunning = m_thread.joinable();
}

void CurlWorker::run()
{
    pthread_setname_np(pthread_self(), "telvora-http");
    ProcessExit& exit = ProcessExit::current();
    std::unique_ptr<CurlLoop> loop = makeLoop(exit);
    while (!loop) {
        if (!failArrived("libcurl does not start"))
            return;
        loop = makeLoop(exit);
    }
    publish(loop.get());
    serve(*loop, exit);
    publish(nullptr);
    std::vector<CurlResult> left;
    {
        ProcessExit::Section section(exit);
        left = loop->abandon("Client destroyed");
        loop.reset();
    }
    complete(std::move(left), exit);
    while (failArrived("Client destroyed")) { }
}

std::unique_ptr<CurlLoop> CurlWorker::makeLoop(ProcessExit& exit)
{
    ProcessExit::Section section(exit);
    std::unique_ptr<CurlLoop> loop;
    if (setUpLibcurl())
        loop = std::make_unique<CurlLoop>(m_options);
    exit.watch();
    return loop && loop->isUsable() ? std::move(loop) : nullptr;
}

void CurlWorker::serve(CurlLoop& loop, ProcessExit& exit)
{
    std::vector<CurlJob> arrived;
    while (takeArrived(arrived)) {
        std::vector<CurlResult> results;
        {
            ProcessExit::Section section(exit);
            for (CurlJob& job : arrived)
                loop.add(std::move(job));
            results = loop.advance();
        }
        arrived.clear();
        if (results.empty())
            loop.wait();
        else
            complete(std::move(results), exit);
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

void CurlWorker::complete(std::vector<CurlResult> results, ProcessExit& exit)
{
    for (CurlResult& result : results) {
        // Not once the process ends: what the completion refers to may be gone.
        static_cast<void>(ProcessExit::Section(exit));
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
    complete(std::move(results), ProcessExit::current());
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
    return m_isRunning;
}

} // namespace telvora
