#include <tools/collector/Store.h>

#include <tools/collector/JSONText.h>
#include <tools/collector/Query.h>
#include <tools/collector/TimeText.h>
#include <tools/collector/UTF8.h>

#include <boost/json/serialize.hpp>

namespace telvora::collector {
namespace {

namespace json = boost::json;

constexpr std::size_t maximumPaths = 1000;
constexpr std::size_t maximumRulesOfAPath = 1000;
constexpr std::size_t maximumTraceIDs = 262144;
// A longer trace id is wrong anyway and is not remembered.
constexpr std::size_t longestTraceID = 64;

std::string_view pathOf(std::string_view target)
{
    // A path is a key of the counts; longer ones are cut to bound the memory.
    constexpr std::size_t longest = 256;
    return target.substr(0, std::min(target.find_first_of("?#"), longest));
}

std::size_t footprint(const Request& request)
{
    // Roughly what the containers and the allocator add to each string.
    constexpr std::size_t perString = 48;
    std::size_t bytes = sizeof(Request) + 2 * perString + request.body.capacity()
        + request.target.capacity() + request.rule.capacity();
    for (const auto& [name, value] : request.headers)
        bytes += 2 * perString + name.capacity() + value.capacity();
    for (const std::string& problem : request.verdict.problems)
        bytes += perString + problem.capacity();
    return bytes;
}

} // namespace

json::object describe(const Request& request)
{
    json::array headers;
    for (const auto& [name, value] : request.headers)
        headers.push_back(json::array { asJSON(name), asJSON(value) });
    json::array problems;
    for (const std::string& problem : request.verdict.problems)
        problems.push_back(asJSON(problem));

    json::object object;
    object["number"] = request.number;
    object["time"] = request.secondsSince1970;
    object["arrived"] = isoTime(request.secondsSince1970);
    object["connection"] = request.connection;
    object["method"] = asJSON(request.method);
    object["path"] = asJSON(request.target);
    object["headers"] = std::move(headers);
    object["body"] = asJSON(request.body);
    object["verdict"] = { { "ok", request.verdict.isOk() }, { "problems", std::move(problems) },
        { "events", request.verdict.events }, { "key", asJSON(request.verdict.key) } };
    if (request.isResent)
        object["resent"] = true;
    object["rule"] = request.rule.empty() ? json::value() : asJSON(request.rule);
    object["outcome"] = outcomeText(request.outcome);
    return object;
}

bool Filter::matches(const Request& request) const
{
    if (isOk && *isOk != request.verdict.isOk())
        return false;
    const std::string_view sent
        = std::string_view(request.target).substr(0, request.target.find_first_of("?#"));
    return sent.starts_with(path) || percentDecoded(sent).value_or("").starts_with(path);
}

Store::Store(std::size_t maximumBytes)
    : m_maximumBytes(maximumBytes)
{
}

Store::Ticket Store::add(Request request)
{
    judgeTraceID(request);
    request.number = m_total.requests + 1;

    for (Counts* counts : { &m_total, &countsOf(request.target) }) {
        ++counts->requests;
        counts->events += request.verdict.events;
        counts->bytes += request.body.size();
        counts->badVerdicts += request.verdict.isOk() ? 0U : 1U;
        counts->resent += request.isResent ? 1U : 0U;
        Tally& pending = counts->outcomes[static_cast<std::size_t>(Outcome::pending)];
        ++pending.batches;
        pending.events += request.verdict.events;
        if (!request.rule.empty()) {
            const bool hasRoom = counts->faults.size() < maximumRulesOfAPath;
            ++counts->faults[hasRoom ? request.rule : "*"];
        }
    }

    auto shared = std::make_shared<Request>(std::move(request));
    keep(shared);
    return { std::move(shared), m_generation };
}

void Store::settle(const Ticket& ticket, Outcome outcome)
{
    Request& request = *ticket.request;
    request.outcome = outcome;
    if (ticket.generation != m_generation)
        return;
    if (outcome == Outcome::undelivered && !request.hasAnswerBegun) {
        if (const auto seen = m_traceIDs.find(request.verdict.traceID); seen != m_traceIDs.end())
            seen->second = true;
    }
    for (Counts* counts : { &m_total, &countsOf(request.target) }) {
        Tally& pending = counts->outcomes[static_cast<std::size_t>(Outcome::pending)];
        --pending.batches;
        pending.events -= request.verdict.events;
        Tally& settled = counts->outcomes[static_cast<std::size_t>(outcome)];
        ++settled.batches;
        settled.events += request.verdict.events;
    }
}

Store::Counts& Store::countsOf(std::string_view target)
{
    const std::string_view path = pathOf(target);
    if (const auto known = m_paths.find(path); known != m_paths.end())
        return known->second;
    return m_paths[m_paths.size() < maximumPaths ? std::string(path) : "*"];
}

void Store::judgeTraceID(Request& request)
{
    const std::string& traceID = request.verdict.traceID;
    if (traceID.empty() || traceID.size() > longestTraceID)
        return;
    const auto seen = m_traceIDs.find(traceID);
    if (seen == m_traceIDs.end()) {
        rememberTraceID(traceID);
        return;
    }
    // An HTTP client resends a request by itself when a kept-alive connection closes before the
    // first byte of the answer. That is the same request, so the same trace id is right.
    if (seen->second)
        request.isResent = true;
    else
        request.verdict.problems.emplace_back("x-trace-id was seen before");
    seen->second = false;
}

void Store::rememberTraceID(const std::string& traceID)
{
    m_traceIDs.emplace(traceID, false);
    m_traceOrder.push_back(traceID);
    if (m_traceOrder.size() > maximumTraceIDs) {
        m_traceIDs.erase(m_traceOrder.front());
        m_traceOrder.pop_front();
    }
}

void Store::keep(std::shared_ptr<Request> request)
{
    m_keptBytes += footprint(*request);
    m_kept.push_back(std::move(request));
    while (m_keptBytes > m_maximumBytes) {
        m_keptBytes -= footprint(*m_kept.front());
        m_kept.pop_front();
        ++m_forgotten;
    }
}

std::string Store::requestsSince(
    std::uint64_t since, std::size_t maximumBytes, const Filter& filter) const
{
    std::string text = "{\"requests\":[";
    std::uint64_t last = since;
    std::size_t at = since > m_forgotten ? since - m_forgotten : 0;
    for (bool isFirst = true; at < m_kept.size() && text.size() < maximumBytes; ++at) {
        last = m_kept[at]->number;
        if (!filter.matches(*m_kept[at]))
            continue;
        text += isFirst ? "\n" : ",\n";
        isFirst = false;
        text += json::serialize(collector::describe(*m_kept[at]));
    }
    text += "],\"last\":" + std::to_string(last);
    text += ",\"more\":" + std::string(at < m_kept.size() ? "true" : "false");
    text += ",\"forgotten\":" + std::to_string(m_forgotten) + "}\n";
    return text;
}

json::object Store::describe(const Counts& counts)
{
    json::object object;
    object["requests"] = counts.requests;
    object["events"] = counts.events;
    object["bytes"] = counts.bytes;
    object["badVerdicts"] = counts.badVerdicts;
    object["resent"] = counts.resent;
    for (std::size_t i = 0; i < counts.outcomes.size(); ++i) {
        object[outcomeText(static_cast<Outcome>(i))] = { { "batches", counts.outcomes[i].batches },
            { "events", counts.outcomes[i].events } };
    }
    json::object faults;
    for (const auto& [rule, count] : counts.faults)
        faults[rule] = count;
    object["faults"] = std::move(faults);
    return object;
}

json::object Store::summary() const
{
    json::object paths;
    for (const auto& [path, counts] : m_paths)
        paths[isUTF8(path) ? path : json::serialize(asJSON(path))] = describe(counts);

    json::object object;
    object["total"] = describe(m_total);
    object["paths"] = std::move(paths);
    object["kept"] = m_kept.size();
    object["keptBytes"] = m_keptBytes;
    object["forgotten"] = m_forgotten;
    object["connections"] = { { "accepted", m_connections }, { "refused", m_refusedConnections } };
    object["malformed"] = m_malformed;
    object["incomplete"] = m_incomplete;
    return object;
}

void Store::reset()
{
    const std::size_t maximumBytes = m_maximumBytes;
    const std::uint64_t generation = m_generation + 1;
    *this = Store(maximumBytes);
    m_generation = generation;
}

} // namespace telvora::collector
