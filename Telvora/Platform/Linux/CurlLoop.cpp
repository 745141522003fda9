#include <Telvora/Platform/Linux/CurlLoop.h>

#include <algorithm>
#include <limits>
#include <thread>
#include <utility>

namespace telvora {

namespace {

// What servers commonly let travel together on one connection.
constexpr std::size_t secureTransfersPerHost = 100;
constexpr std::size_t maximumIdleTransfers = 16;
constexpr std::size_t keptConnectionsPerLimit = 4;

} // namespace

CurlLoop::CurlLoop(const LinuxHTTPOptions& options)
    : m_options(options)
    , m_multi(curl_multi_init())
{
    if (!m_multi)
        return;
    auto connections = static_cast<long>(std::max<std::size_t>(options.connectionsPerHost, 1));
    auto kept = connections * static_cast<long>(keptConnectionsPerLimit);
    // libcurl makes do without a means to be woken if the system refuses it one; we do not.
    m_isUsable = curl_multi_wakeup(m_multi) == CURLM_OK
        && curl_multi_setopt(m_multi, CURLMOPT_MAX_HOST_CONNECTIONS, connections) == CURLM_OK
        && curl_multi_setopt(m_multi, CURLMOPT_MAXCONNECTS, kept) == CURLM_OK;
}

CurlLoop::~CurlLoop()
{
    abandon("Client destroyed");
    m_idle.clear();
    curl_multi_cleanup(m_multi);
}

void CurlLoop::add(CurlJob job)
{
    if (auto refusal = refusalOf(job.request))
        return giveUp(std::move(job), std::move(*refusal));
    CurlOrigin origin = originOf(job.request.url);
    if (origin.error)
        return giveUp(std::move(job), std::move(*origin.error));

    Lane& lane = m_lanes[origin.text];
    // Only a secure host may take several at once on a connection.
    lane.limit = origin.isSecure ? std::max(secureTransfersPerHost, m_options.connectionsPerHost)
                                 : std::max<std::size_t>(m_options.connectionsPerHost, 1);
    m_nextDeadline = std::min(m_nextDeadline, job.deadline);
    lane.waiting.push_back(std::move(job));
}

std::vector<CurlResult> CurlLoop::advance()
{
    collectExpired();
    fillLanes();
    int running = 0;
    curl_multi_perform(m_multi, &running);
    collectFinished();
    fillLanes();
    return std::exchange(m_over, {});
}

void CurlLoop::wait()
{
    using namespace std::chrono;
    int milliseconds = std::numeric_limits<int>::max();
    if (m_nextDeadline != Time::max()) {
        auto rest = ceil<std::chrono::milliseconds>(m_nextDeadline - steady_clock::now()).count();
        milliseconds = static_cast<int>(std::clamp<decltype(rest)>(rest, 0, milliseconds));
    }
    // A poll that fails must not become a thread that spins.
    if (curl_multi_poll(m_multi, nullptr, 0, milliseconds, nullptr) != CURLM_OK)
        std::this_thread::sleep_for(std::chrono::milliseconds(100));
}

void CurlLoop::wake()
{
    curl_multi_wakeup(m_multi);
}

std::vector<CurlResult> CurlLoop::abandon(const std::string& reason)
{
    for (auto transfer = m_underWay.begin(); transfer != m_underWay.end();)
        transfer = end(transfer, reason);
    for (auto& [name, lane] : m_lanes) {
        for (CurlJob& job : lane.waiting)
            giveUp(std::move(job), reason);
    }
    m_lanes.clear();
    m_nextDeadline = Time::max();
    return std::exchange(m_over, {});
}

void CurlLoop::fillLanes()
{
    for (auto lane = m_lanes.begin(); lane != m_lanes.end();) {
        fill(lane->first, lane->second);
        bool isDone = lane->second.underWay == 0 && lane->second.waiting.empty();
        lane = isDone ? m_lanes.erase(lane) : std::next(lane);
    }
    // So that an idle client sleeps without an end, rather than until a deadline of the past.
    if (m_lanes.empty())
        m_nextDeadline = Time::max();
}

void CurlLoop::fill(const std::string& name, Lane& lane)
{
    while (lane.underWay < lane.limit && !lane.waiting.empty()) {
        CurlJob job = std::move(lane.waiting.front());
        lane.waiting.pop_front();
        ++lane.underWay;
        start(std::move(job), name);
    }
}

void CurlLoop::start(CurlJob job, const std::string& lane)
{
    std::unique_ptr<CurlTransfer> transfer;
    if (m_idle.empty()) {
        transfer = std::make_unique<CurlTransfer>(m_options);
    } else {
        transfer = std::move(m_idle.back());
        m_idle.pop_back();
    }
    std::optional<std::string> error = transfer->begin(std::move(job), lane);
    if (!error) {
        CURLMcode code = curl_multi_add_handle(m_multi, transfer->handle());
        if (code != CURLM_OK)
            error = curl_multi_strerror(code);
    }
    if (error) {
        --m_lanes[lane].underWay;
        // The handle did not take what it was told: it is not used again.
        m_over.push_back(transfer->finish(std::move(error)));
        return;
    }
    CURL* handle = transfer->handle();
    m_underWay.emplace(handle, std::move(transfer));
}

void CurlLoop::collectFinished()
{
    int left = 0;
    while (CURLMsg* message = curl_multi_info_read(m_multi, &left)) {
        if (message->msg != CURLMSG_DONE)
            continue;
        // The message dies with the handle's removal.
        CURLcode code = message->data.result;
        auto transfer = m_underWay.find(message->easy_handle);
        if (transfer != m_underWay.end())
            end(transfer, transfer->second->errorFor(code));
    }
}

void CurlLoop::collectExpired()
{
    Time now = std::chrono::steady_clock::now();
    if (now < m_nextDeadline)
        return;
    m_nextDeadline = Time::max();
    for (auto transfer = m_underWay.begin(); transfer != m_underWay.end();) {
        Time deadline = transfer->second->deadline();
        if (deadline <= now) {
            transfer = end(transfer, "Timed out");
            continue;
        }
        m_nextDeadline = std::min(m_nextDeadline, deadline);
        ++transfer;
    }
    for (auto& [name, lane] : m_lanes) {
        auto late = std::stable_partition(lane.waiting.begin(), lane.waiting.end(),
            [now](const CurlJob& job) { return job.deadline > now; });
        for (auto job = lane.waiting.begin(); job != late; ++job)
            m_nextDeadline = std::min(m_nextDeadline, job->deadline);
        for (auto job = late; job != lane.waiting.end(); ++job)
            giveUp(std::move(*job), "Timed out");
        lane.waiting.erase(late, lane.waiting.end());
    }
}

void CurlLoop::giveUp(CurlJob job, std::string reason)
{
    HTTPAnswer answer;
    answer.error = std::move(reason);
    m_over.push_back({ std::move(job.completion), std::move(answer) });
}

CurlLoop::Transfers::iterator CurlLoop::end(
    Transfers::iterator underWay, std::optional<std::string> error)
{
    std::unique_ptr<CurlTransfer> transfer = std::move(underWay->second);
    curl_multi_remove_handle(m_multi, transfer->handle());
    --m_lanes[transfer->lane()].underWay;
    m_over.push_back(transfer->finish(std::move(error)));
    keep(std::move(transfer));
    return m_underWay.erase(underWay);
}

void CurlLoop::keep(std::unique_ptr<CurlTransfer> transfer)
{
    if (m_idle.size() < maximumIdleTransfers)
        m_idle.push_back(std::move(transfer));
}

} // namespace telvora
