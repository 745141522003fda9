#pragma once

#include <Telvora/Base/Export.h>

#include <chrono>
#include <cstdint>
#include <limits>
#include <optional>

namespace telvora {

/// Patience with a collector that does not answer: how often a batch is tried, and how long it
/// waits before each try. After the n-th failure it waits `first` * 2^(n-1), at most `longest`.
///
/// Without a policy a channel tries a batch three more times, whenever an event or a tick gives it
/// a chance; at a hundred events a second that is over after 40 milliseconds.
///
/// startTelvora() refuses less than one try, a wait that is negative or not finite, and a longest
/// wait that is shorter than the first. TrackerConfig::setRetryPolicy() takes what is said below.
struct TELVORA_EXPORT RetryPolicy {
    /// How often a batch is tried in all, with the first time; less than 1 is 1. Absent: without
    /// end.
    std::optional<std::int64_t> tries = 4;
    /// The wait after the first failure. Negative or not a number: 0.
    std::chrono::duration<double> first { 1 };
    /// No wait is longer, not even one that the collector asks for. Negative or not a number: 0, so
    /// that each wait is a millisecond. More than a hundred years: a hundred years.
    std::chrono::duration<double> longest { 300 };
    /// Whether each wait is drawn from its upper half, so that many hosts do not come back at once.
    bool jitter = true;

    /// What stands for "without end" as a number of retries.
    static constexpr std::int64_t endless = std::numeric_limits<std::int64_t>::max();

    /// How often a batch is tried again; `endless` where `tries` is absent.
    std::int64_t retries() const;
    /// The wait after the `failures`-th failure, at least as long as `asked`, up to `longest`, but
    /// no shorter than a millisecond. None after no failure. `random` is from 0 up to 1.
    std::chrono::nanoseconds wait(
        std::int64_t failures, std::chrono::duration<double> asked, double random) const;

    /// Member by member.
    bool operator==(const RetryPolicy&) const = default;
};

} // namespace telvora
