#include <tools/collector/Control.h>

#include <boost/json/serialize.hpp>

#include <charconv>
#include <cmath>

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
    const json::object object { { "error", json::string_view(why.data(), why.size()) } };
    return { status, json::serialize(object) + '\n', std::nullopt };
}

// The value of `name` in the query of `target`; `standard` where it is missing, absent where it is
// not a number.
std::optional<double> queryNumber(std::string_view target, std::string_view name, double standard)
{
    const std::size_t mark = target.find('?');
    std::string_view query = mark == std::string_view::npos ? "" : target.substr(mark + 1);
    while (!query.empty()) {
        const std::string_view item = query.substr(0, query.find('&'));
        query.remove_prefix(std::min(query.size(), item.size() + 1));
        if (!item.starts_with(name) || item.substr(name.size(), 1) != "=")
            continue;
        const std::string_view text = item.substr(name.size() + 1);
        double value = 0;
        const auto [stop, error] = std::from_chars(text.data(), text.data() + text.size(), value);
        constexpr double largest = 9e15;
        if (error != std::errc() || stop != text.data() + text.size() || !(value >= 0)
            || value > largest)
            return std::nullopt;
        return value;
    }
    return standard;
}

ControlReply serveRequests(Collector& collector, std::string_view target)
{
    const auto since = queryNumber(target, "since", 0);
    if (!since)
        return problem(400, "since must be a number");
    return { 200,
        collector.store().requestsSince(static_cast<std::uint64_t>(*since), maximumListing),
        std::nullopt };
}

ControlReply serveWait(const Collector& collector, std::string_view target)
{
    const auto requests = queryNumber(target, "requests", 0);
    const auto events = queryNumber(target, "events", 0);
    const auto acceptedEvents = queryNumber(target, "acceptedEvents", 0);
    const auto settled = queryNumber(target, "settled", 0);
    const auto timeout = queryNumber(target, "timeout", 30);
    constexpr double longest = 3600;
    if (!requests || !events || !acceptedEvents || !settled || !timeout || *timeout > longest)
        return problem(400, "requests, events, acceptedEvents, settled, timeout must be numbers");

    WaitCondition condition;
    condition.requests = static_cast<std::uint64_t>(*requests);
    condition.events = static_cast<std::uint64_t>(*events);
    condition.acceptedEvents = static_cast<std::uint64_t>(*acceptedEvents);
    condition.settled = static_cast<std::uint64_t>(*settled);
    condition.timeout = std::chrono::milliseconds(std::llround(*timeout * 1000));
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
    if (name == "requests")
        return serveRequests(collector, target);
    if (name == "wait")
        return serveWait(collector, target);
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
