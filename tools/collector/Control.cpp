#include <tools/collector/Control.h>

#include <tools/collector/IndexPage.h>
#include <tools/collector/Printable.h>
#include <tools/collector/Query.h>

#include <boost/json/serialize.hpp>

#include <algorithm>
#include <iterator>
#include <vector>

namespace telvora::collector {
namespace {

namespace json = boost::json;

// Bytes that one listing holds at most: its text is built in memory.
constexpr std::size_t maximumListing = std::size_t { 16 } << 20U;

ControlReply reply(const json::object& object)
{
    return { 200, json::serialize(object) + '\n', std::nullopt };
}

ControlReply problem(int status, std::string_view why)
{
    constexpr std::size_t longest = 1000;
    const json::object object { { "error", printable(why, longest) } };
    return { status, json::serialize(object) + '\n', std::nullopt };
}

// A request for something of our own.
struct ControlRequest {
    std::string_view method;
    std::string_view target;
    std::string_view body;
};

ControlReply serveIndex(Collector& collector, const ControlRequest& request);

ControlReply serveHealth(Collector&, const ControlRequest&)
{
    return reply({ { "healthy", true } });
}

std::optional<bool> wantedVerdict(const Query& query)
{
    const auto verdict = query.text("verdict");
    if (!verdict)
        return std::nullopt;
    if (*verdict != "ok" && *verdict != "bad")
        throw QueryError("verdict must be ok or bad");
    return *verdict == "ok";
}

ControlReply serveRequests(Collector& collector, const ControlRequest& request)
{
    const Query query(request.target, { "since", "path", "verdict" });
    const Filter filter { query.text("path").value_or(""), wantedVerdict(query) };
    return { 200, collector.store().requestsSince(query.count("since", 0), maximumListing, filter),
        std::nullopt };
}

ControlReply serveSummary(Collector& collector, const ControlRequest&)
{
    return reply(collector.summary());
}

ControlReply serveWait(Collector& collector, const ControlRequest& request)
{
    const Query query(
        request.target, { "requests", "events", "acceptedEvents", "settled", "timeout" });
    WaitCondition condition;
    condition.requests = query.count("requests", 0);
    condition.events = query.count("events", 0);
    condition.acceptedEvents = query.count("acceptedEvents", 0);
    condition.settled = query.count("settled", 0);
    condition.timeout = query.duration("timeout", condition.timeout, std::chrono::hours(1));
    if (condition.isMet(collector))
        return endedWait(collector, condition);
    ControlReply waiting;
    waiting.wait = condition;
    return waiting;
}

ControlReply serveRules(Collector& collector, const ControlRequest& request)
{
    if (request.method == "PUT") {
        if (const auto why = collector.installRules(request.body))
            return problem(400, *why);
    }
    return reply({ { "rules", collector.rules().describe() } });
}

ControlReply serveReset(Collector& collector, const ControlRequest&)
{
    collector.reset();
    return reply({ { "reset", true } });
}

struct Entry {
    std::string_view name;
    std::string_view method;
    std::string_view otherMethod;
    ControlReply (*serve)(Collector&, const ControlRequest&);
    // For the index: an example of a query, and what the entry is for.
    std::string_view query;
    std::string_view purpose;
};

constexpr Entry entries[] {
    { "", "GET", "", serveIndex, "", "this page" },
    { "health", "GET", "", serveHealth, "", "whether the collector runs" },
    { "requests", "GET", "", serveRequests, "?since=0&path=/&verdict=bad",
        "the requests that were received, oldest first; since: with a greater number, path: whose "
        "path begins so, verdict: ok or bad" },
    { "summary", "GET", "", serveSummary, "", "counts of all requests, and by path" },
    { "wait", "GET", "", serveWait, "?requests=1&timeout=3s",
        "the summary, as soon as so many requests, events, acceptedEvents and settled requests "
        "are counted, or the timeout is over" },
    { "rules", "GET", "PUT", serveRules, "",
        "the rules for the answers, and how often each was applied; PUT replaces them all" },
    { "reset", "POST", "", serveReset, "",
        "forgets requests and counts and restores the rules that were given at the start" },
};

std::string methodsOf(const Entry& entry)
{
    return std::string(entry.method) + (entry.otherMethod.empty() ? "" : ", ")
        + std::string(entry.otherMethod);
}

ControlReply serveIndex(Collector& collector, const ControlRequest&)
{
    std::vector<IndexEntry> list;
    for (const Entry& entry : entries) {
        list.push_back(
            { methodsOf(entry), std::string(controlPrefix).append(entry.name).append(entry.query),
                entry.purpose, entry.method == "GET" });
    }
    ControlReply page { 200, indexPage(list, collector.summary()), std::nullopt };
    page.contentType = "text/html; charset=utf-8";
    return page;
}

} // namespace

bool WaitCondition::isMet(const Collector& collector) const
{
    return collector.requestCount() >= requests && collector.eventCount() >= events
        && collector.acceptedEventCount() >= acceptedEvents && collector.settledCount() >= settled;
}

ControlReply serveControl(
    Collector& collector, std::string_view method, std::string_view target, std::string_view body)
{
    const std::string_view path = target.substr(0, target.find('?'));
    const std::string_view name = path.substr(controlPrefix.size());
    const auto* const entry = std::find_if(std::begin(entries), std::end(entries),
        [&](const Entry& candidate) { return candidate.name == name; });
    if (entry == std::end(entries))
        return problem(404, "no such thing: " + std::string(path));
    if (method != entry->method && (entry->otherMethod.empty() || method != entry->otherMethod))
        return problem(405, std::string(path) + " takes " + methodsOf(*entry));
    try {
        return entry->serve(collector, { method, target, body });
    } catch (const QueryError& error) {
        return problem(400, error.what());
    }
}

ControlReply endedWait(const Collector& collector, const WaitCondition& condition)
{
    json::object object = collector.summary();
    object["reached"] = condition.isMet(collector);
    return reply(object);
}

} // namespace telvora::collector
