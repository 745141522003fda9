#include <Telvora/Platform/Linux/CurlHost.h>

#include <algorithm>
#include <utility>

namespace telvora {

void CurlHost::queue(CurlJobs& job, Time now)
{
    job.front().waitingSince = now;
    m_waiting.splice(m_waiting.end(), job);
}

void CurlHost::beginCount()
{
    m_connections = 0;
    m_connecting = 0;
    m_newlyConnecting = 0;
    m_room = 0;
    m_isHTTP2 = false;
}

void CurlHost::countConnecting(bool isNew)
{
    ++m_connecting;
    if (isNew)
        ++m_newlyConnecting;
}

void CurlHost::count(CurlConnection& connection)
{
    ++m_connections;
    connection.mostRequests = std::max(connection.mostRequests, connection.requests);
    if (!connection.isHTTP2)
        return;
    m_isHTTP2 = true;
    // libcurl opens a connection only where no other takes the request.
    if (m_newlyConnecting > 0 && connection.room > 0)
        connection.limit = connection.mostRequests;
    const std::size_t tried = std::min(connection.limit, 2 * connection.mostRequests);
    connection.room = tried - std::min(tried, connection.requests);
    m_room += connection.room;
}

CurlJobs CurlHost::takeNext(Time now)
{
    if (m_waiting.empty())
        return {};
    if (m_room > 0) {
        --m_room;
        return takeFirst(m_waiting);
    }
    const bool isOverdue = now - m_waiting.front().waitingSince >= m_options.connectionWait;
    const std::size_t limit
        = isOverdue ? m_options.maximumConnectionsPerHost : m_options.connectionsPerHost;
    if (connectionsInUse() >= std::max<std::size_t>(limit, 1) || !mayOpenAnother())
        return {};
    ++m_connecting;
    return takeFirst(m_waiting);
}

// The first connection of HTTP/2 is likely to make room for many: others are not opened beside it.
bool CurlHost::mayOpenAnother() const
{
    return !m_isHTTP2 || m_connecting == 0;
}

CurlHost::Time CurlHost::nextChange() const
{
    if (m_waiting.empty() || connectionsInUse() >= m_options.maximumConnectionsPerHost
        || !mayOpenAnother())
        return Time::max();
    return m_waiting.front().waitingSince + m_options.connectionWait;
}

CurlJobs CurlHost::takeAll()
{
    return std::exchange(m_waiting, {});
}

} // namespace telvora
