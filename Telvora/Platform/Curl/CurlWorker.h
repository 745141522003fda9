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

/// The thread of a CurlHTTPClient, and the list through which requests reach it.
///
/// Life: the thread starts with the first request. If the system refuses it what it needs, it
/// fails what has arrived and ends, and the next request tries again.
/// Threads: as CurlHTTPClient. The loop belongs to the thread, but for its wake().
/// Failure: nothing is thrown, not even for want of memory; the request concerned gets an error.
class CurlWorker {
public:
    CurlWorker(StartThread startThread, const Clock& clock, CurlHTTPOptions options);
    /// Completes what is left with an error and ends the thread. Requires canStop().
    ~CurlWorker();

    void send(HTTPRequest request, HTTPClient::Completion completion) TELVORA_EXCLUDES(m_lock);
    std::size_t inFlight() const;

    /// False in a forked child, where the thread does not exist, and while the process ends.
    static bool canStop();

private:
    /// False if the system has no thread to give.
    bool start() noexcept TELVORA_REQUIRES(m_lock);
    void waitForEnd() TELVORA_EXCLUDES(m_lock);
    void run() TELVORA_EXCLUDES(m_lock);
    std::unique_ptr<CurlLoop> makeLoop() noexcept;
    void serve(CurlLoop& loop) TELVORA_EXCLUDES(m_lock);
    /// False once the thread is to end.
    bool takeArrived(CurlJobs& arrived) TELVORA_EXCLUDES(m_lock);
    void publish(CurlLoop* loop) TELVORA_EXCLUDES(m_lock);
    void complete(CurlJobs jobs) TELVORA_EXCLUDES(m_lock);
    void fail(CurlJobs jobs, const char* reason) TELVORA_EXCLUDES(m_lock);
    /// Fails what has arrived. False if nothing arrived meanwhile; the thread counts as ended then
    /// and must not touch the worker any more.
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
