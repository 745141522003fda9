#include <tools/collector/Control.h>

#include <tools/collector/Printable.h>
#include <tools/collector/Query.h>

#include <boost/json/serialize.hpp>

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

std::optional<bool> wantedVerdict(const Query& query)
{
    const auto verdict = query.text("verdict");
    if (!verdict)
        return std::nullopt;
    if (*verdict != "ok" && *verdict != "bad")
        throw QueryError("verdict must be ok or bad");
    return *verdict == "ok";
}

ControlReply serveRequests(Collector& collector, std::string_view target)
{
    const Query query(target, { "since", "path", "verdict" });
    const Filter filter { query.text("path").value_or(""), wantedVerdict(query) };
    return { 200, collector.store().requestsSince(query.count("since", 0), maximumListing, filter),
        std::nullopt };
}

ControlReply serveWait(const Collector& collector, std::string_view target)
{
    const Query query(target, { "requests", "events", "acceptedEvents", "settled", "timeout" });
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

ControlReply serveRules(Collector& collector, std::string_view method, std::string_view body)
{
    if (method == "PUT") {
        if (const auto why = collector.installRules(body))
            return problem(400, *why);
    } else if (method != "GET") {
        return problem(405, "rules take GET and PUT");
    }
    return reply({ { "rules", collector.rules().describe() } });
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
    if (name == "rules")
        return serveRules(collector, method, body);
    if (name == "reset") {
        if (method != "POST")
            return problem(405, "reset takes POST");
        collector.reset();
        return reply({ { "reset", true } });
    }
    if (name != "requests" && name != "summary" && name != "health" && name != "wait")
        return problem(404, "no such thing: " + std::string(path));
    if (method != "GET")
        return problem(405, std::string(name) + " takes GET");
    try {
        if (name == "requests")
            return serveRequests(collector, target);
        if (name == "wait")
            return serveWait(collector, target);
    } catch (const QueryError& error) {
        return problem(400, error.what());
    }
    if (name == "health")
        return reply({ { "healthy", true } });
    return reply(collector.summary());
}

ControlReply endedWait(const Collector& collector, const WaitCondition& condition)
{
    json::object object = collector.summary();
    object["reached"] = condition.isMet(collector);
    return reply(object);
}

} // namespace telvora::collector
