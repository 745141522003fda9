#include <tools/collector/Verdict.h>

#include <tools/collector/BatchScan.h>

#include <boost/beast/core/string.hpp>

#include <algorithm>
#include <optional>
#include <unordered_set>

namespace telvora::collector {
namespace {

void addProblem(Verdict& verdict, std::string problem)
{
    verdict.problems.push_back(std::move(problem));
}

// The header's value. A missing or repeated header is noted as a problem.
std::optional<std::string_view> onlyValue(
    Verdict& verdict, const Headers& headers, std::string_view name)
{
    std::optional<std::string_view> value;
    bool isRepeated = false;
    for (const auto& [headerName, headerValue] : headers) {
        if (!boost::beast::iequals(
                { headerName.data(), headerName.size() }, { name.data(), name.size() }))
            continue;
        isRepeated = value.has_value();
        value = headerValue;
    }
    if (!value)
        addProblem(verdict, "header " + std::string(name) + " is missing");
    if (isRepeated)
        addProblem(verdict, "header " + std::string(name) + " is repeated");
    return value;
}

void expectValue(
    Verdict& verdict, const Headers& headers, std::string_view name, std::string_view expected)
{
    const auto value = onlyValue(verdict, headers, name);
    if (value && *value != expected)
        addProblem(verdict,
            "header " + std::string(name) + " is \"" + std::string(*value) + "\", not \""
                + std::string(expected) + "\"");
}

void judgeHeaders(Verdict& verdict, const Headers& headers)
{
    expectValue(verdict, headers, "clienttype", "ios");
    onlyValue(verdict, headers, "versioncode");
    if (const auto version = onlyValue(verdict, headers, "system-version");
        version && version->empty())
        addProblem(verdict, "header system-version is empty");
    expectValue(verdict, headers, "Content-Type", "application/json");

    if (const auto traceID = onlyValue(verdict, headers, "x-trace-id")) {
        verdict.traceID = *traceID;
        if (!isCanonicalUUID(*traceID))
            addProblem(verdict, "header x-trace-id is no upper-case UUID");
    }

    const auto isIdentifier = [](const auto& header) {
        return boost::beast::iequals({ header.first.data(), header.first.size() }, "QVX-UUID");
    };
    if (std::count_if(headers.begin(), headers.end(), isIdentifier) > 1)
        addProblem(verdict, "header QVX-UUID is repeated");
}

const BatchScan::Member* eventArray(Verdict& verdict, const std::vector<BatchScan::Member>& members)
{
    std::vector<const BatchScan::Member*> candidates;
    bool hasEmptyArray = false;
    for (const BatchScan::Member& member : members) {
        if (member.isArray && member.elements > 0 && member.onlyObjects)
            candidates.push_back(&member);
        hasEmptyArray = hasEmptyArray || (member.isArray && member.elements == 0);
    }
    if (candidates.empty()) {
        addProblem(verdict, hasEmptyArray ? "the event array is empty" : "no array of events");
        return nullptr;
    }
    if (candidates.size() == 1)
        return candidates.front();

    std::string names;
    std::vector<const BatchScan::Member*> usual;
    for (const BatchScan::Member* candidate : candidates) {
        names += (names.empty() ? "" : ", ") + candidate->key;
        if (candidate->key == "data-list" || candidate->key == "data")
            usual.push_back(candidate);
    }
    if (usual.size() == 1)
        return usual.front();
    addProblem(verdict, "several arrays of events: " + names);
    return nullptr;
}

void judgeBody(Verdict& verdict, std::string_view body)
{
    const BatchScan scan = scanBatch(body);
    if (scan.root == BatchScan::Root::notJSON) {
        addProblem(verdict,
            "body is no JSON: " + scan.error + " at byte " + std::to_string(scan.errorOffset));
        return;
    }
    if (scan.root == BatchScan::Root::other) {
        addProblem(verdict, "body is no JSON object");
        return;
    }

    std::unordered_set<std::string_view> keys;
    for (const BatchScan::Member& member : scan.members) {
        if (!keys.insert(member.key).second)
            addProblem(verdict, "body has the member " + member.key + " twice");
    }
    if (const BatchScan::Member* events = eventArray(verdict, scan.members)) {
        verdict.events = events->elements;
        verdict.key = events->key;
    }
}

} // namespace

Verdict judge(const Headers& headers, std::string_view body)
{
    Verdict verdict;
    judgeHeaders(verdict, headers);
    judgeBody(verdict, body);
    return verdict;
}

bool isCanonicalUUID(std::string_view text)
{
    if (text.size() != 36)
        return false;
    for (std::size_t i = 0; i < text.size(); ++i) {
        const char c = text[i];
        const bool isHyphenPlace = i == 8 || i == 13 || i == 18 || i == 23;
        const bool isDigit = (c >= '0' && c <= '9') || (c >= 'A' && c <= 'F');
        if (isHyphenPlace ? c != '-' : !isDigit)
            return false;
    }
    return true;
}

} // namespace telvora::collector
