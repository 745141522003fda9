#pragma once

#include <Telvora/Base/Mutex.h>
#include <Telvora/Base/ThreadAnnotations.h>
#include <Telvora/Platform/Clock.h>
#include <Telvora/Platform/Curl/CurlHTTPClient.h>
#include <Telvora/Platform/Curl/CurlLoop.h>

#include <atomic>
#include <condition_variable>
#include <cstddef>
#include <memory>

namespace telvora::detail {

/// The thread of a CurlHTTPClient and the list of requests for it.
///
/// Life: the thread starts with the first request. If the system refuses what the thread needs, the
/// thread ends all requests so far with an error and ends itself; the next request tries again.
/// Threads: as CurlHTTPClient. Only the thread uses the loop, except for wake().
/// Failure: throws nothing. Without memory the request ends with an error.
class CurlWorker {
public:
    CurlWorker(StartThread startThread, const Clock& clock, CurlHTTPOptions options);
    /// Completes all unfinished requests with an error and ends the thread. Requires canStop().
    ~CurlWorker();

    void send(HTTPRequest request, HTTPClient::Completion completion) TELVORA_EXCLUDES(m_lock);
    std::size_t inFlight() const;

    /// False in a forked child, where the thread does not exist, and while the process ends.
    static bool canStop();

private:
    // False if the system refuses the thread.
    bool start() noexcept TELVORA_REQUIRES(m_lock);
    void waitForEnd() TELVORA_EXCLUDES(m_lock);
    void run() TELVORA_EXCLUDES(m_lock);
    std::unique_ptr<CurlLoop> makeLoop() noexcept;
    void serve(CurlLoop& loop) TELVORA_EXCLUDES(m_lock);
    // False once the thread must end.
    bool takeArrived(CurlJobs& arrived) TELVORA_EXCLUDES(m_lock);
    void publish(CurlLoop* loop) TELVORA_EXCLUDES(m_lock);
    void complete(CurlJobs jobs) TELVORA_EXCLUDES(m_lock);
    void fail(CurlJobs jobs, const char* reason) TELVORA_EXCLUDES(m_lock);
    // Ends all requests that have arrived with an error. False if no other arrived meanwhile; the
    // thread then counts as ended and must not use the worker any more.
    bool failArrived(const char* reason) TELVORA_EXCLUDES(m_lock);

    const StartThread m_startThread;
    const Clock& m_clock;
    const CurlHTTPOptions m_options;
    std::atomic<std::size_t> m_inFlight { 0 };

    Mutex m_lock;
    std::condition_variable m_ended;
    CurlJobs m_arrived TELVORA_GUARDED_BY(m_lock);
    CurlLoop* m_loop TELVORA_GUARDED_BY(m_lock) = nullptr;
    bool m_isRunning TELVORA_GUARDED_BY(m_lock) = false;
    bool m_isStopping TELVORA_GUARDED_BY(m_lock) = false;
};

} // namespace telvora::detail
