#include <Telvora/Platform/Curl/CurlLoop.h>

#include <Telvora/Platform/Curl/CurlWakeup.h>

#include <algorithm>
#include <iterator>
#include <limits>
#include <thread>
#include <utility>

namespace telvora::detail {

namespace {

constexpr int maximumRedirects = 10;
constexpr std::size_t maximumIdleTransfers = 16;
constexpr long keptConnections = 64;

// Longer than any useful time-out, short enough that no sum with a clock's time overflows.
constexpr std::chrono::seconds longestTimeout = std::chrono::hours(24);

} // namespace

CurlLoop::CurlLoop(const CurlHTTPOptions& options, const Clock& clock)
    : m_options(options)
    , m_clock(clock)
    , m_multi(curl_multi_init())
{
    if (!m_multi)
        return;
    // Jobs beyond libcurl's own limit wait inside libcurl, and that wait counts against their
    // time-out. It is reached only when a server allows fewer requests on a connection than before.
    const auto limit = static_cast<long>(std::max(
        { options.maximumConnectionsPerHost, options.connectionsPerHost, std::size_t { 1 } }));
    const auto streams = static_cast<long>(CurlConnection::http2Requests);
    // libcurl also works without its wake-up sockets if the system refuses them. This class does
    // not.
    m_isUsable = curl_multi_wakeup(m_multi) == CURLM_OK
        && curl_multi_setopt(m_multi, CURLMOPT_MAX_HOST_CONNECTIONS, limit) == CURLM_OK
        && curl_multi_setopt(m_multi, CURLMOPT_MAX_CONCURRENT_STREAMS, streams) == CURLM_OK
        && curl_multi_setopt(m_multi, CURLMOPT_MAXCONNECTS, keptConnections) == CURLM_OK;
    if (m_isUsable)
        closeWakeupOnExec(m_multi);
}

CurlLoop::~CurlLoop()
{
    abandon("Client destroyed");
    m_idle.clear();
    curl_multi_cleanup(m_multi);
}

void CurlLoop::add(CurlJobs& jobs) noexcept
{
    while (!jobs.empty()) {
        CurlJobs job = takeFirst(jobs);
        job.front().timeLeft = std::min(job.front().request.timeout, longestTimeout);
        queue(job);
    }
}

// A job that cannot be queued ends with an error.
void CurlLoop::queue(CurlJobs& job)
{
    try {
        const HTTPRequest& request = job.front().request;
        const CurlOrigin origin = originOf(request.url);
        if (auto problem = problemWith(request))
            job.front().fail(*problem);
        else if (origin.error)
            job.front().fail(*origin.error);
        else
            m_servers.try_emplace(origin.text(), m_options).first->second.queue(job, now());
    } catch (const std::exception&) {
        job.front().fail(outOfMemory);
    }
    m_over.splice(m_over.end(), job);
}

CurlJobs CurlLoop::advance() noexcept
{
    startWaiting();
    do {
        int running = 0;
        curl_multi_perform(m_multi, &running);
        collectFinished();
    } while (startWaiting() && m_over.empty());
    // Last, so that an answer that arrived in time counts even if this thread reads it late.
    collectExpired();
    return std::exchange(m_over, {});
}

void CurlLoop::wait() noexcept
{
    using namespace std::chrono;
    Time next = m_nextDeadline;
    for (const auto& [origin, server] : m_servers)
        next = std::min(next, server.nextChange(now()));
    int timeout = std::numeric_limits<int>::max();
    if (next != Time::max()) {
        auto rest = ceil<milliseconds>(next - now()).count();
        timeout = static_cast<int>(std::clamp<decltype(rest)>(rest, 0, timeout));
    }
    // When the poll fails, do not spin.
    if (curl_multi_poll(m_multi, nullptr, 0, timeout, nullptr) != CURLM_OK)
        std::this_thread::sleep_for(milliseconds(100));
}

void CurlLoop::wake() noexcept
{
    curl_multi_wakeup(m_multi);
}

CurlJobs CurlLoop::abandon(const char* reason) noexcept
{
    for (auto transfer = m_underWay.begin(); transfer != m_underWay.end();) {
        CurlJobs job = transfer->second->finish(reason);
        m_over.splice(m_over.end(), job);
        transfer = release(transfer);
    }
    for (auto& [origin, server] : m_servers) {
        CurlJobs waiting = server.takeAll();
        for (CurlJob& job : waiting)
            job.fail(reason);
        m_over.splice(m_over.end(), waiting);
    }
    m_servers.clear();
    return std::exchange(m_over, {});
}

void CurlLoop::count()
{
    for (auto& [origin, server] : m_servers)
        server.beginCount();
    for (const auto& connection : m_connections.all())
        connection->requests = 0;
    for (auto& [handle, transfer] : m_underWay) {
        const bool isNew = transfer->isNew();
        CurlConnection* const connection = transfer->connection();
        if (connection && !connection->isClosed) {
            connection->server = &transfer->server();
            ++connection->requests;
        } else {
            // Also while libcurl resolves the name anew to send a refused request once more: the
            // server must not look idle, because the transfer refers to it.
            transfer->server().countConnecting(isNew);
        }
    }
    for (const auto& connection : m_connections.all()) {
        if (connection->requests > 0)
            connection->server->count(*connection);
    }
    std::erase_if(m_servers, [](const auto& entry) { return entry.second.isIdle(); });
    // An idle client sleeps without a limit, not until an old deadline.
    if (m_underWay.empty())
        m_nextDeadline = Time::max();
}

// Whether any job was started.
bool CurlLoop::startWaiting()
{
    count();
    bool isAnyStarted = false;
    for (auto& [origin, server] : m_servers) {
        for (CurlJobs job = server.takeNext(now()); !job.empty(); job = server.takeNext(now())) {
            isAnyStarted = true;
            try {
                start(job, server);
            } catch (const std::exception&) {
                job.front().fail(outOfMemory);
            }
            // Empty unless the job could not start.
            m_over.splice(m_over.end(), job);
        }
    }
    return isAnyStarted;
}

void CurlLoop::start(CurlJobs& job, CurlServer& server)
{
    job.front().deadline = now() + job.front().timeLeft;
    if (!job.front().firstSent)
        job.front().firstSent = now();
    m_nextDeadline = std::min(m_nextDeadline, job.front().deadline);

    auto place = unusedTransfer();
    CurlTransfer& transfer = *place->second;
    if (const char* error = transfer.begin(job, server)) {
        job.front().fail(error);
    } else {
        CURLMcode code = curl_multi_add_handle(m_multi, transfer.handle());
        if (code == CURLM_OK)
            return;
        job = transfer.finish(curl_multi_strerror(code));
    }
    // The handle did not accept an option, so it is not used again.
    m_underWay.erase(place);
}

CurlLoop::Transfers::iterator CurlLoop::unusedTransfer()
{
    if (!m_idle.empty())
        return m_underWay.insert(m_idle.extract(m_idle.begin())).position;
    auto transfer = std::make_unique<CurlTransfer>(m_options, m_connections);
    CURL* handle = transfer->handle();
    return m_underWay.emplace(handle, std::move(transfer)).first;
}

void CurlLoop::collectFinished()
{
    int left = 0;
    while (CURLMsg* message = curl_multi_info_read(m_multi, &left)) {
        if (message->msg != CURLMSG_DONE)
            continue;
        // The message is destroyed when the handle is removed.
        CURLcode code = message->data.result;
        auto transfer = m_underWay.find(message->easy_handle);
        if (transfer == m_underWay.end())
            continue;
        CurlJobs job = transfer->second->finish(code);
        continueJob(job, *transfer->second);
        m_over.splice(m_over.end(), job);
        release(transfer);
    }
}

// Takes the job if it needs another transfer: it was refused or redirected.
void CurlLoop::continueJob(CurlJobs& job, const CurlTransfer& transfer)
{
    if (transfer.wasRefused())
        return sendAgain(job, transfer.server());
    if (job.front().answer.error)
        return transfer.server().noteFailure();
    transfer.server().noteAnswer(transfer.usedHTTP2());
    if (const char* target = transfer.redirection())
        follow(job, target);
}

// Queues the same request again, for another connection and with its whole time-out.
void CurlLoop::sendAgain(CurlJobs& job, CurlServer& server)
{
    CurlJob& refused = job.front();
    if (now() - *refused.firstSent
        >= std::min<Time::duration>(refused.request.timeout, longestTimeout))
        return refused.fail("Refused by the server");
    refused.answer = {};
    server.queueAgain(job, now());
}

// A job that must not follow the redirect ends with an error.
void CurlLoop::follow(CurlJobs& job, const char* target)
{
    CurlJob& redirected = job.front();
    if (++redirected.redirects > maximumRedirects)
        return redirected.fail("Too many redirects");
    try {
        if (auto whyNotFollowed = redirect(redirected.request, target))
            return redirected.fail(*whyNotFollowed);
    } catch (const std::exception&) {
        return redirected.fail(outOfMemory);
    }
    redirected.answer = {};
    redirected.timeLeft = redirected.deadline - now();
    queue(job);
}

void CurlLoop::collectExpired()
{
    const Time present = now();
    if (present < m_nextDeadline)
        return;
    m_nextDeadline = Time::max();
    for (auto transfer = m_underWay.begin(); transfer != m_underWay.end();) {
        const Time deadline = transfer->second->deadline();
        if (deadline > present) {
            m_nextDeadline = std::min(m_nextDeadline, deadline);
            ++transfer;
            continue;
        }
        transfer->second->server().noteFailure();
        CurlJobs job = transfer->second->finish("Timed out");
        m_over.splice(m_over.end(), job);
        transfer = release(transfer);
    }
}

// Removes a transfer without a job from libcurl.
CurlLoop::Transfers::iterator CurlLoop::release(Transfers::iterator transfer)
{
    curl_multi_remove_handle(m_multi, transfer->second->handle());
    if (!transfer->second->isReusable() || m_idle.size() >= maximumIdleTransfers)
        return m_underWay.erase(transfer);
    const auto next = std::next(transfer);
    m_idle.insert(m_underWay.extract(transfer));
    return next;
}

} // namespace telvora::detail
