#pragma once

#include <Telvora/Platform/Curl/CurlConnection.h>
#include <Telvora/Platform/Curl/CurlHTTPClient.h>
#include <Telvora/Platform/Curl/CurlRequest.h>

#include <cstddef>

namespace telvora::detail {

/// The requests to one origin that wait for a connection, and the rule that says which may start.
///
/// A connection of HTTP/1.1 carries one request. One of HTTP/2 carries up to
/// CurlConnection::http2Requests. The server may allow fewer, and libcurl does not say how many. So
/// a connection gets at most twice the requests that it has carried before. If libcurl opens
/// another connection although this one seemed to have room, the number it has carried becomes its
/// limit.
///
/// Use: before each takeNext(), the loop counts: beginCount(), then countConnecting() for each
/// request that is still connecting, then count() for each connection in use.
/// Threads: one.
class CurlServer {
public:
    using Time = CurlJob::Time;

    explicit CurlServer(const CurlHTTPOptions& options)
        : m_options(options)
    {
    }

    /// Puts the job at the end of the queue.
    void queue(CurlJobs& job, Time now);

    /// Puts a job that the server refused at the front of the queue. If the server has answered
    /// nothing since the job was sent, no job starts during a pause: 10 ms, then twice as long each
    /// time, up to a second.
    void queueAgain(CurlJobs& job, Time now);

    /// Call it when the server has answered a request. Ends the pause. After an answer over HTTP/2
    /// (`usedHTTP2`), connections are opened one at a time.
    void noteAnswer(bool usedHTTP2);

    /// Call it when a request has failed. Connections are opened side by side again: if the server
    /// cannot be reached, one attempt at a time would keep all other requests waiting.
    void noteFailure() { m_isHTTP2 = false; }

    void beginCount();
    /// `isNew`: this count is the first that includes the request.
    void countConnecting(bool isNew);
    void count(CurlConnection& connection);

    /// Takes the next job; empty if none may start now.
    CurlJobs takeNext(Time now);

    /// When takeNext() may return a job although no request ends until then; Time::max() if never.
    Time nextChange(Time now) const;

    /// Whether no job waits and nothing was counted.
    bool isIdle() const { return m_waiting.empty() && m_connections + m_connecting == 0; }

    /// Takes all waiting jobs.
    CurlJobs takeAll();

private:
    std::size_t connectionsInUse() const { return m_connections + m_connecting; }
    std::size_t normalConnections() const;
    std::size_t maximumConnections() const;
    bool mayOpenAnother() const;
    CurlJobs release();

    const CurlHTTPOptions& m_options;
    CurlJobs m_waiting;

    std::size_t m_connections = 0;
    std::size_t m_connecting = 0;
    std::size_t m_newlyConnecting = 0;
    std::size_t m_room = 0;
    // Kept while no connection is in use, for the requests that a closed connection left behind.
    bool m_isHTTP2 = false;

    std::size_t m_answers = 0;
    Time::duration m_pause { 0 };
    Time m_pausedUntil {};
};

} // namespace telvora::detail
