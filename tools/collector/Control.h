#pragma once

#include <tools/collector/Answer.h>
#include <tools/collector/Collector.h>

#include <chrono>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace telvora::collector {

inline constexpr std::string_view controlPrefix = "/_telvora/";

/// What GET /_telvora/wait waits for: every count given has been reached.
struct WaitCondition {
    std::uint64_t requests = 0;
    std::uint64_t events = 0;
    std::uint64_t acceptedEvents = 0;
    std::uint64_t settled = 0;
    std::chrono::milliseconds timeout { 30000 };

    bool isMet(const Collector& collector) const;
};

struct ControlReply {
    int status = 200;
    std::string body;
    /// Where set: answer with the summary once this is met or its time is over.
    std::optional<WaitCondition> wait;
    std::string_view contentType = "application/json";
};

/// Serves a request under /_telvora/, where an index for people lists the rest.
ControlReply serveControl(
    Collector& collector, std::string_view method, std::string_view target, std::string_view body);

/// The answer to a wait that has ended.
ControlReply endedWait(const Collector& collector, const WaitCondition& condition);

} // namespace telvora::collector
