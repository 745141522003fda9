#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace telvora::collector {

/// Names and values in the order and spelling in which they arrived.
using Headers = std::vector<std::pair<std::string, std::string>>;

/// Whether a request is a correct batch, and if not, everything that is wrong with it.
struct Verdict {
    std::vector<std::string> problems;
    /// Elements of the event array; 0 where there is none.
    std::uint64_t events = 0;
    /// The member that holds the events, empty where there is none.
    std::string key;
    /// The request's "x-trace-id", also an invalid one; empty where there is none.
    std::string traceID;

    bool isOk() const { return problems.empty(); }
};

/// Checks a POST by itself. The caller checks whether its trace id was seen before.
///
/// The event array is the one member of the body whose value is a non-empty array of objects.
/// Common data may hold such arrays too, so of several the one under "data-list" or "data" is
/// taken; where none or both are there, that is a problem.
Verdict judge(const Headers& headers, std::string_view body);

/// Whether `text` is a UUID in 8-4-4-4-12 form with upper-case digits.
bool isCanonicalUUID(std::string_view text);

} // namespace telvora::collector
