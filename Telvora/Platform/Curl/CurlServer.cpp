#include <Telvora/Platform/Curl/CurlServer.h>

#include <algorithm>
#include <utility>

namespace telvora::detail {

namespace {

constexpr std::chrono::milliseconds shortestPause { 10 };
constexpr std::chrono::milliseconds longestPause { 1000 };

} // namespace

void CurlServer::queue(CurlJobs& job, Time now)
{
    job.front().waitingSince = now;
    m_waiting.splice(m_waiting.end(), job);
}

void CurlServer::queueAgain(CurlJobs& job, Time now)
{
    // Jobs that were refused together cause one pause.
    if (job.front().answersBefore == m_answers && now >= m_pausedUntil) {
        m_pause = std::clamp<Time::duration>(2 * m_pause, shortestPause, longestPause);
        m_pausedUntil = now + m_pause;
    }
    job.front().waitingSince = now;
    m_waiting.splice(m_waiting.begin(), job);
}

void CurlServer::noteAnswer(bool usedHTTP2)
{
    m_isHTTP2 = usedHTTP2;
    ++m_answers;
    m_pause = {};
    m_pausedUntil = {};
}

void CurlServer::beginCount()
{
    m_connections = 0;
    m_connecting = 0;
    m_newlyConnecting = 0;
    m_room = 0;
}

void CurlServer::countConnecting(bool isNew)
{
    ++m_connecting;
    if (isNew)
        ++m_newlyConnecting;
}

void CurlServer::count(CurlConnection& connection)
{
    ++m_connections;
    connection.mostRequests = std::max(connection.mostRequests, connection.requests);
    if (!connection.isHTTP2)
        return;
    m_isHTTP2 = true;
    // A connection that the server is closing takes no more requests.
    if (connection.lastStream)
        return;
    // libcurl opens a connection only if no other one takes the request.
    if (m_newlyConnecting > 0 && connection.room > 0)
        connection.limit = connection.mostRequests;
    const std::size_t allowed = std::min(connection.limit, 2 * connection.mostRequests);
    connection.room = allowed - std::min(allowed, connection.requests);
    m_room += connection.room;
}

CurlJobs CurlServer::takeNext(Time now)
{
    if (m_waiting.empty() || now < m_pausedUntil)
        return {};
    if (m_room > 0) {
        --m_room;
        return release();
    }
    const bool isOverdue = now - m_waiting.front().waitingSince >= m_options.connectionWait;
    if (connectionsInUse() >= (isOverdue ? maximumConnections() : normalConnections())
        || !mayOpenAnother())
        return {};
    ++m_connecting;
    return release();
}

std::size_t CurlServer::normalConnections() const
{
    return std::max<std::size_t>(m_options.connectionsPerHost, 1);
}

std::size_t CurlServer::maximumConnections() const
{
    return std::max(m_options.maximumConnectionsPerHost, normalConnections());
}

CurlJobs CurlServer::release()
{
    m_waiting.front().answersBefore = m_answers;
    return takeFirst(m_waiting);
}

// A new connection to a server of HTTP/2 takes many requests, so only one is opened at a time.
bool CurlServer::mayOpenAnother() const
{
    return !m_isHTTP2 || m_connecting == 0;
}

CurlServer::Time CurlServer::nextChange(Time now) const
{
    if (!m_waiting.empty() && now < m_pausedUntil)
        return m_pausedUntil;
    if (m_waiting.empty() || connectionsInUse() >= maximumConnections() || !mayOpenAnother())
        return Time::max();
    return m_waiting.front().waitingSince + m_options.connectionWait;
}

CurlJobs CurlServer::takeAll()
{
    return std::exchange(m_waiting, {});
}

} // namespace telvora::detail
