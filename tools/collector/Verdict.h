#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace telvora::collector {

/// Name and value in the order and spelling in which they came.
using Headers = std::vector<std::pair<std::string, std::string>>;

/// Whether a request is a batch as a collector wants it, and if not, everything that is wrong.
struct Verdict {
    std::vector<std::string> problems;
    /// Elements of the event array; 0 where there is none.
    std::uint64_t events = 0;
    /// The member that holds the events, empty where there is none.
    std::string key;
    /// The request's "x-trace-id", whatever it looks like; empty where there is none.
    std::string traceID;

    bool isOk() const { return problems.empty(); }
};

/// Judges a POST by itself. Whether its trace id was seen before is for the caller to know.
///
/// The event array is the one member of the body whose value is a non-empty array of objects.
/// Common data may hold such arrays too, so among several the one under "data-list" or "data"
/// is taken; where that does not tell them apart, it is a problem.
Verdict judge(const Headers& headers, std::string_view body);

/// Whether `text` is a UUID in 8-4-4-4-12 form with upper-case digits.
bool isCanonicalUUID(std::string_view text);

} // namespace telvora::collector
