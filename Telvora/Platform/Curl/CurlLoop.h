#pragma once

#include <Telvora/Platform/Clock.h>
#include <Telvora/Platform/Curl/CurlConnection.h>
#include <Telvora/Platform/Curl/CurlHost.h>
#include <Telvora/Platform/Curl/CurlRequest.h>
#include <Telvora/Platform/Curl/CurlTransfer.h>

#include <curl/curl.h>

#include <map>
#include <memory>
#include <string>

namespace telvora::detail {

/// All transfers of a client, moved on together by one thread over libcurl's multi interface.
///
/// libcurl holds only the jobs that have a connection or are getting one. The others wait in their
/// CurlHost: each job in libcurl's hands costs it memory and a look on every turn, and a host may
/// send thousands at once while its collector is slow.
///
/// Threads: one, but for wake(). advance() and abandon() are the only operations in which libcurl
/// works (and uses the TLS library); wait() only sleeps.
/// Failure: a job for which there is no memory is over with an error. Only the constructor throws.
class CurlLoop {
public:
    /// Both must outlive the loop.
    CurlLoop(const CurlHTTPOptions& options, const Clock& clock);
    ~CurlLoop();

    CurlLoop(const CurlLoop&) = delete;
    CurlLoop& operator=(const CurlLoop&) = delete;

    /// False when the system had no memory or no descriptor left for it; good for nothing then.
    bool isUsable() const { return m_isUsable; }

    /// Takes all of `jobs`.
    void add(CurlJobs& jobs) noexcept;

    /// Does what can be done now and gives the jobs that are over.
    CurlJobs advance() noexcept;

    /// Sleeps until the network, a deadline or wake() gives a reason not to.
    void wait() noexcept;

    /// Ends the current or the next wait(). Any thread.
    void wake() noexcept;

    /// Keeps this time, in which the thread did something else, out of all time-outs.
    void excuse(CurlJob::Time::duration time) { m_excused += time; }

    /// Gives up all jobs.
    CurlJobs abandon(const char* reason) noexcept;

private:
    using Time = CurlJob::Time;
    using Hosts = std::map<std::string, CurlHost>;
    // A map, so that a transfer passes between the two without a need of memory.
    using Transfers = std::map<CURL*, std::unique_ptr<CurlTransfer>>;

    Time now() const { return m_clock.steadyNow() - m_excused; }
    void queue(CurlJobs& job);
    void count();
    bool startWaiting();
    void start(CurlJobs& job, CurlHost& host);
    Transfers::iterator unusedTransfer();
    void collectFinished();
    void goOn(CurlJobs& job, const CurlTransfer& transfer);
    void sendAgain(CurlJobs& job, CurlHost& host);
    void follow(CurlJobs& job, const char* target);
    void collectExpired();
    Transfers::iterator release(Transfers::iterator transfer);

    const CurlHTTPOptions& m_options;
    const Clock& m_clock;
    // Before the handle, which closes its connections when it goes.
    CurlConnections m_connections;
    CURLM* const m_multi;
    bool m_isUsable = false;

    Hosts m_hosts;
    Transfers m_underWay;
    Transfers m_idle;
    CurlJobs m_over;
    Time::duration m_excused { 0 };
    // No deadline is earlier; may lie before the earliest one, which costs one look in vain.
    Time m_nextDeadline = Time::max();
};

} // namespace telvora::detail
