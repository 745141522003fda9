#include "RandomSession.h"

#include <chrono>
#include <limits>

namespace telvora {

using namespace std::chrono_literals;

namespace {

constexpr auto address = "http://collector.example/";

} // namespace

RandomSession::RandomSession(std::uint64_t seed)
    : m_platform(seed)
    , m_random(seed)
{
    installPlatform(m_platform.services());
    m_platform.httpClient().setAnswers({ ScriptedAnswer::later() }, true);
    m_platform.httpClient().setRequestObserver(
        [this](std::size_t number, const HTTPRequest&) { m_open.push_back(number); });

    for (const char* index : { "APM", "MP", "E2E" }) {
        const auto limit = static_cast<std::int64_t>(m_random() % 6);
        // The hook may be called between a flush's copy and its clearing.
        const auto url = [this, index] {
            if (chance(10)) {
                for (auto& channel : m_channels) {
                    if (channel.index == index)
                        append(channel);
                }
            }
            return address + std::string(index);
        };
        auto config = std::make_shared<TrackerConfig>(
            index, limit, StringDictionary(), Array(), false, url);
        TrackerManager::shared().register_(config);
        m_channels.push_back({ index, config });
    }
    TrackerManager::start();
}

std::vector<std::string> RandomSession::run()
{
    for (int steps = 0; steps < 150; ++steps)
        step();
    settle();
    std::vector<std::string> wrong;
    check(wrong);
    return wrong;
}

void RandomSession::step()
{
    switch (m_random() % 10) {
    case 0:
    case 1:
    case 2:
    case 3:
        append(m_channels[m_random() % m_channels.size()]);
        break;
    case 4:
        TrackerManager::shared().appendTracker({ { "id", m_nextEvent++ } }, "nowhere");
        ++m_unknown;
        break;
    case 5:
    case 6:
        answerOne();
        break;
    case 7:
        m_platform.advance(std::chrono::seconds(m_random() % 90));
        break;
    case 8:
        move();
        break;
    case 9:
        m_platform.setHold(chance(50));
        break;
    }
    if (m_platform.dispatch().isHeld())
        m_platform.step(m_random() % 4);
    else if (chance(60))
        m_platform.runUntilIdle();
}

void RandomSession::append(Channel& channel)
{
    Dictionary event { { "id", m_nextEvent++ } };
    if (chance(3))
        event["bad"] = std::numeric_limits<double>::quiet_NaN();
    ++channel.appended;
    TrackerManager::shared().appendTracker(std::move(event), channel.index);
}

void RandomSession::answerOne()
{
    if (m_open.empty())
        return;
    const auto position = static_cast<std::ptrdiff_t>(m_random() % m_open.size());
    const std::size_t number = m_open[static_cast<std::size_t>(position)];
    m_open.erase(m_open.begin() + position);

    const unsigned kind = static_cast<unsigned>(m_random() % 10);
    ScriptedAnswer answer = ScriptedAnswer::body(R"({"success":true})");
    if (kind == 0)
        answer = ScriptedAnswer::body("[]");
    else if (kind <= 2)
        answer = ScriptedAnswer::body("<html>", 502);
    else if (kind <= 5)
        answer = ScriptedAnswer::error("connection reset");
    else if (kind == 6)
        answer = ScriptedAnswer::body("{}");
    else {
        const auto [index, events] = eventsOf(number);
        m_delivered[index].insert(events.begin(), events.end());
    }
    if (chance(30))
        answer = answer.after(std::chrono::seconds(m_random() % 20));
    m_platform.httpClient().answer(number, answer);
}

void RandomSession::move()
{
    m_isAway = !m_isAway;
    m_platform.notificationCenter().post(
        m_isAway ? Notification::didEnterBackground : Notification::willEnterForeground);
}

// Flushes until nothing is pending, in flight or waiting. Each flush sends one batch a channel, and
// each batch can fail three more times, so this ends.
void RandomSession::settle()
{
    m_platform.setHold(false);
    m_platform.runUntilIdle();
    if (m_isAway)
        move();
    for (int rounds = 0; rounds < 2000; ++rounds) {
        while (!m_open.empty())
            answerOne();
        m_platform.advance(20s);
        bool isDone = m_open.empty();
        for (const auto& channel : m_channels) {
            const LedgerAccount events = channel.config->ledger().events;
            isDone = isDone && events.inFlight == 0 && channel.config->retryCache().size() == 0
                && channel.config->apiDatas().empty();
        }
        if (isDone)
            return;
        m_platform.advance(60s);
    }
}

std::vector<std::string> RandomSession::requests()
{
    std::vector<std::string> texts;
    for (const HTTPRequest& request : m_platform.httpClient().requests()) {
        std::string& text = texts.emplace_back(request.url);
        for (const auto& [name, value] : request.headers)
            text.append("\n").append(name).append(": ").append(value);
        text.append("\n").append(request.body);
    }
    return texts;
}

std::pair<std::string, std::vector<std::int64_t>> RandomSession::eventsOf(std::size_t number)
{
    const HTTPRequest request = m_platform.httpClient().requests().at(number - 1);
    const Decoded body = decode(request.body);
    std::vector<std::int64_t> identifiers;
    for (const Value& event : body.value.value().at("data-list").as_array())
        identifiers.push_back(event.at("id").as_int64());
    return { request.url.substr(std::string(address).size()), identifiers };
}

void RandomSession::check(std::vector<std::string>& wrong)
{
    for (const auto& channel : m_channels)
        checkChannel(channel, wrong);
    const LedgerAccount unknown = TrackerManager::shared().ledgers().at("").events;
    if (unknown.accepted != m_unknown || unknown.dropped.unknownChannel != m_unknown)
        wrong.push_back("unknown channels: " + std::to_string(unknown.accepted));
}

void RandomSession::checkChannel(const Channel& channel, std::vector<std::string>& wrong)
{
    const auto complain = [&](const std::string& what) {
        const auto ledger = *encode(ledgerDictionary(channel.config->ledger()));
        wrong.push_back(channel.index + ": " + what + " " + ledger);
    };
    const auto [events, batches, hostExceptions, lastFailure] = channel.config->ledger();
    if (hostExceptions != 0)
        complain("the host threw");
    if (events.accepted != channel.appended)
        complain("appended " + std::to_string(channel.appended));
    if (events.accepted != events.accountedFor() || batches.accepted != batches.accountedFor())
        complain("does not add up");
    if (events.pending != 0 || events.inFlight != 0 || events.waiting != 0)
        complain("is not at rest");

    // The collector's side. The ledger never counts a second copy of an event, so it counts at most
    // as many deliveries as the collector, and equally many where nothing was sent twice.
    const auto& delivered = m_delivered[channel.index];
    const std::set<std::int64_t> unique(delivered.begin(), delivered.end());
    const auto uniqueCount = static_cast<std::int64_t>(unique.size());
    if (events.delivered > uniqueCount)
        complain("delivered but " + std::to_string(uniqueCount));
    if (delivered.size() == unique.size() && batches.dropped.removedUnseen == 0
        && events.delivered != uniqueCount && events.dropped.total() == 0)
        complain("delivered " + std::to_string(uniqueCount));
}

} // namespace telvora
