#pragma once

#include <Telvora/Platform/Curl/CurlConnection.h>
#include <Telvora/Platform/Curl/CurlHTTPClient.h>
#include <Telvora/Platform/Curl/CurlRequest.h>

#include <cstddef>

namespace telvora::detail {

/// The requests to one origin that wait for a connection, and the rule that says which may go.
///
/// A connection of HTTP/1.1 carries one request. One that is known to speak HTTP/2 carries up to
/// CurlConnection::http2Requests; how many its server allows shows only by trying, so it is given
/// at most twice what it has carried before, and once libcurl opens another connection although
/// this one seemed to have room, it gets no more than it has carried.
///
/// Use: before requests are taken, the loop counts what is under way: beginCount(), then each
/// request that is still connecting, then each connection in use.
/// Threads: one.
class CurlHost {
public:
    using Time = CurlJob::Time;

    explicit CurlHost(const CurlHTTPOptions& options)
        : m_options(options)
    {
    }

    /// Has the job wait behind all others.
    void queue(CurlJobs& job, Time now);

    /// Has a job that the host refused wait before all others. Where the host has answered nothing
    /// since the job was sent, none goes for a while: 10 ms, then twice as long each time, up to a
    /// second.
    void queueAgain(CurlJobs& job, Time now);

    /// The host has answered a request.
    void noteAnswer();

    void beginCount();
    /// `isNew` says that it was not connecting at the count before.
    void countConnecting(bool isNew);
    void count(CurlConnection& connection);

    /// The job that goes next; empty if none may go now.
    CurlJobs takeNext(Time now);

    /// When takeNext() may have one although nothing else happens; Time::max() if never.
    Time nextChange(Time now) const;

    /// Neither waits anything nor was anything counted.
    bool isIdle() const { return m_waiting.empty() && m_connections + m_connecting == 0; }

    /// All jobs that wait.
    CurlJobs takeAll();

private:
    std::size_t connectionsInUse() const { return m_connections + m_connecting; }
    bool mayOpenAnother() const;
    CurlJobs release();

    const CurlHTTPOptions& m_options;
    CurlJobs m_waiting;

    std::size_t m_connections = 0;
    std::size_t m_connecting = 0;
    std::size_t m_newlyConnecting = 0;
    std::size_t m_room = 0;
    bool m_isHTTP2 = false;

    std::size_t m_answers = 0;
    Time::duration m_pause { 0 };
    Time m_pausedUntil {};
};

} // namespace telvora::detail
