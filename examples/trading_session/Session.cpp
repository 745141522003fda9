#include "Session.h"

#include <Telvora/Start/ApplicationState.h>

#include <cstdio>
#include <thread>

using namespace std::chrono_literals;
using telvora::Dictionary;
using telvora::LedgerAccount;
using telvora::TrackerManager;

namespace {

// No wait of the script takes this long unless something is wrong.
constexpr auto longestWait = 15s;
constexpr auto step = 100ms;

LedgerAccount eventsOf(const std::string& index)
{
    return TrackerManager::shared().ledger(index)->events;
}

bool hasNoUploads(const LedgerAccount& events)
{
    return events.inFlight == 0 && events.waiting == 0;
}

} // namespace

Session::Session(CollectorClient& collector, Desk& desk)
    : m_collector(collector)
    , m_desk(desk)
    , m_progress(desk)
{
}

void Session::trade(std::chrono::milliseconds howLong)
{
    m_progress.begin("trading: three threads, pages, frames, traces");
    int turn = 0;
    for (auto left = howLong; left > 0ms; left -= step) {
        if (turn++ % 8 == 0)
            m_desk.turnPage();
        if (turn % 5 == 0)
            m_desk.measure();
        m_progress.update();
        std::this_thread::sleep_for(step);
    }
}

void Session::goToBackgroundAndBack()
{
    m_progress.begin("to the background: every channel is flushed, the timer is suspended");
    toBackground();
    waitUntil([] {
        for (const Channel& channel : channels) {
            if (!hasNoUploads(eventsOf(channel.index)))
                return false;
        }
        return true;
    });
    toForeground();
}

void Session::faults()
{
    Dictionary dropped;
    dropped["close"] = "within";
    dropped["reset"] = true;
    Dictionary serverError;
    serverError["status"] = 500;
    serverError["body"] = "";
    Dictionary nonsense;
    nonsense["body"] = "<html>Please log in</html>";

    fault("fault: connection refused, twice a channel", std::nullopt);
    fault("fault: connection dropped within the answer", std::move(dropped));
    fault("fault: status 500 without a body", std::move(serverError));
    fault("fault: an answer that is not JSON", std::move(nonsense));
}

// Two failures are fewer than the tries of a batch, so no batch is lost.
void Session::fault(const std::string& title, std::optional<Dictionary> rule)
{
    m_progress.begin(title);
    if (rule)
        m_collector.setRule("/", std::move(*rule), 2);
    else
        m_desk.loseCollector(2);
    for (int turn = 0; turn < 8; ++turn) {
        m_desk.measure();
        m_progress.update();
        std::this_thread::sleep_for(step);
    }
    // Every new event of a channel makes one waiting batch retry.
    waitUntil([this] {
        m_desk.measure();
        for (const Channel& channel : channels) {
            if (eventsOf(channel.index).waiting != 0)
                return false;
        }
        return true;
    });
    m_collector.clearRules();
}

void Session::outage()
{
    m_progress.begin("outage: the Sentry collector stays down for longer than three retries");
    toBackground();
    waitUntil([this] {
        flush();
        return hasNoUploads(eventsOf("Sentry")) && eventsOf("Sentry").pending == 0;
    });

    Dictionary down;
    down["status"] = 500;
    down["body"] = "";
    m_collector.setRule("/sentry", std::move(down), 0);
    const std::int64_t before = m_collector.counts("/sentry").requests;
    const std::int64_t lostBefore = eventsOf("Sentry").dropped.retriesExhausted;
    // One full batch, and then one event for each of its three retries.
    const auto limit = TrackerManager::shared().config("Sentry")->maxLimit();
    for (std::int64_t event = 0; event < limit; ++event)
        m_desk.reportError("outage");
    for (std::int64_t retry = 1; retry <= 3; ++retry) {
        waitUntil([&] {
            return m_collector.counts("/sentry").requests == before + retry
                && eventsOf("Sentry").waiting == limit;
        });
        m_desk.reportError("retry");
    }
    waitUntil([&] { return eventsOf("Sentry").dropped.retriesExhausted == lostBefore + limit; });
    m_lostEvents = limit;
    m_collector.clearRules();
    toForeground();
}

void Session::finish()
{
    m_progress.begin("closing: all remaining events are sent");
    toBackground();
    m_desk.close();
    waitUntil([this] {
        flush();
        for (const Channel& channel : channels) {
            const LedgerAccount events = eventsOf(channel.index);
            if (!hasNoUploads(events) || events.pending != 0)
                return false;
        }
        return true;
    });
}

bool Session::compareCounts(std::optional<std::int64_t> providerReports)
{
    bool doAgree = m_isOnTime;
    std::int64_t unseen = 0;
    std::printf("\n  %-8s%10s%10s%10s%10s%12s%11s\n", "channel", "handed", "accepted", "delivered",
        "dropped", "of retries", "collector");
    for (const Channel& channel : channels) {
        const LedgerAccount events = eventsOf(channel.index);
        const auto counts = m_collector.counts(channel.path);
        const std::int64_t handed = m_desk.handedOver(channel.index);
        // A batch that fails while an event tries a retry may be lost as well; that is rare.
        const std::int64_t unseenOfChannel = events.dropped.removedUnseen;
        unseen += unseenOfChannel;
        const std::int64_t expectedLoss = channel.index == "Sentry" ? m_lostEvents : 0;
        const bool isRight = events.accepted == handed && events.accepted == events.accountedFor()
            && events.delivered == counts.acceptedEvents && counts.badVerdicts == 0
            && events.dropped.retriesExhausted == expectedLoss
            && events.dropped.total() == expectedLoss + unseenOfChannel
            && events.accepted == events.delivered + events.dropped.total();
        doAgree = doAgree && isRight;
        std::printf("  %-8s%10ld%10ld%10ld%10ld%12ld%11ld  %s\n", channel.index.c_str(), handed,
            events.accepted, events.delivered, events.dropped.total(),
            events.dropped.retriesExhausted, counts.acceptedEvents, isRight ? "agreed" : "DIFFERS");
    }
    if (providerReports) {
        const std::int64_t handed = m_desk.reported();
        const bool isRight = handed == *providerReports;
        doAgree = doAgree && isRight;
        std::printf("  reports %10ld handed to the provider, %ld written  %s\n", handed,
            *providerReports, isRight ? "agreed" : "DIFFERS");
    }
    const char* loss
        = m_lostEvents > 0 ? "the only loss is the batch of the outage" : "nothing is lost";
    if (unseen > 0)
        loss = "each loss has its reason";
    if (doAgree)
        std::printf("\nThe ledger and the collector agree to the event; %s.\n", loss);
    else
        std::printf("\nThe ledger and the collector do NOT agree.\n");
    return doAgree;
}

bool Session::waitUntil(const std::function<bool()>& isDone)
{
    const auto deadline = std::chrono::steady_clock::now() + longestWait;
    while (!isDone()) {
        if (std::chrono::steady_clock::now() > deadline) {
            std::printf("  took too long\n");
            m_isOnTime = false;
            return false;
        }
        m_progress.update();
        std::this_thread::sleep_for(step / 5);
    }
    m_progress.update();
    return true;
}

// The application stops its work first, so that all events handed over are in the lists.
void Session::toBackground()
{
    m_desk.pause();
    waitUntil([this] {
        for (const Channel& channel : channels) {
            if (eventsOf(channel.index).accepted < m_desk.handedOver(channel.index))
                return false;
        }
        return true;
    });
    telvora::enterBackground();
}

void Session::toForeground()
{
    telvora::enterForeground();
    m_desk.resume();
}

void Session::flush()
{
    telvora::enterBackground();
}
