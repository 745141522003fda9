#pragma once

#include <chrono>
#include <optional>
#include <string_view>

namespace telvora::collector {

/// Durations that readDuration() reads, for an error text.
inline constexpr const char* durationExamples = R"("250ms", "3s", "2min" or "1h")";

/// A duration as people write it: a number and one of the units ms, s, min and h, with or without a
/// space in between. Rounds to milliseconds. Absent where `text` is something else, the unit is
/// missing, or it is more than `longest`.
std::optional<std::chrono::milliseconds> readDuration(
    std::string_view text, std::chrono::milliseconds longest);

/// So many seconds. Absent where that is negative, no number, or more than `longest`.
std::optional<std::chrono::milliseconds> secondsDuration(
    double seconds, std::chrono::milliseconds longest);

} // namespace telvora::collector
