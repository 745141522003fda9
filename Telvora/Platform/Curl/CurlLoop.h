#pragma once

#include <Telvora/Platform/Clock.h>
#include <Telvora/Platform/Curl/CurlConnection.h>
#include <Telvora/Platform/Curl/CurlRequest.h>
#include <Telvora/Platform/Curl/CurlServer.h>
#include <Telvora/Platform/Curl/CurlTransfer.h>

#include <curl/curl.h>

#include <map>
#include <memory>
#include <string>

namespace telvora::detail {

/// All transfers of a client, run by one thread through libcurl's multi interface.
///
/// libcurl gets only the jobs that have a connection or are connecting. The others wait in their
/// CurlServer, because each transfer costs libcurl memory and time in every call, and a host may
/// send thousands at once while its collector is slow.
///
/// Threads: one, except for wake(). Only advance() and abandon() call into libcurl's transfers (and
/// the TLS library); wait() only sleeps.
/// Failure: a job for which there is no memory ends with an error. Only the constructor throws.
class CurlLoop {
public:
    /// Both must outlive the loop.
    CurlLoop(const CurlHTTPOptions& options, const Clock& clock);
    ~CurlLoop();

    CurlLoop(const CurlLoop&) = delete;
    CurlLoop& operator=(const CurlLoop&) = delete;

    /// False when the system refused memory or a descriptor. Only the destructor may be called
    /// then.
    bool isUsable() const { return m_isUsable; }

    /// Takes all of `jobs` and queues them.
    void add(CurlJobs& jobs) noexcept;

    /// Does what can be done without waiting. Returns the finished jobs with their answers.
    CurlJobs advance() noexcept;

    /// Sleeps until there is news from the network, a deadline, or a wake().
    void wait() noexcept;

    /// Ends the current or the next wait(). Any thread.
    void wake() noexcept;

    /// Excludes `time`, which the thread spent elsewhere, from all time-outs.
    void excludeFromTimeouts(CurlJob::Time::duration time) { m_excluded += time; }

    /// Ends all jobs with the error `reason` and returns them.
    CurlJobs abandon(const char* reason) noexcept;

private:
    using Time = CurlJob::Time;
    using Servers = std::map<std::string, CurlServer>;
    // A map, so that a transfer can move between the two without an allocation.
    using Transfers = std::map<CURL*, std::unique_ptr<CurlTransfer>>;

    Time now() const { return m_clock.steadyNow() - m_excluded; }
    void queue(CurlJobs& job);
    void count();
    bool startWaiting();
    void start(CurlJobs& job, CurlServer& server);
    Transfers::iterator unusedTransfer();
    void collectFinished();
    void continueJob(CurlJobs& job, const CurlTransfer& transfer);
    void sendAgain(CurlJobs& job, CurlServer& server);
    void follow(CurlJobs& job, const char* target);
    void collectExpired();
    Transfers::iterator release(Transfers::iterator transfer);

    const CurlHTTPOptions& m_options;
    const Clock& m_clock;
    // Declared before the handle, which closes its connections when it is destroyed.
    CurlConnections m_connections;
    CURLM* const m_multi;
    bool m_isUsable = false;

    Servers m_servers;
    Transfers m_underWay;
    Transfers m_idle;
    CurlJobs m_over;
    Time::duration m_excluded { 0 };
    // At or before the earliest deadline; collectExpired() need not look before it.
    Time m_nextDeadline = Time::max();
};

} // namespace telvora::detail
