#pragma once

#include <Telvora/Base/Guarded.h>
#include <Telvora/Platform/Clock.h>

#include <chrono>

namespace telvora {

/// A Clock that stands still until the test moves it. Always starts at the same instant, so that
/// a test sees the same timestamps on every run.
///
/// SimulatedPlatform::advance() moves the clock of that platform and also runs what becomes due;
/// this class's advance() only moves the clock.
///
/// Threads: any.
class TELVORA_EXPORT ManualClock final : public Clock {
public:
    /// Calendar time at the start: 2023-11-14 22:13:20 UTC.
    static constexpr double firstSecondsSince1970 = 1700000000.0;

    double secondsSince1970() const override;
    std::chrono::steady_clock::time_point steadyNow() const override;

    /// Moves both clocks forward together; a negative step moves nothing. The steady clock stops
    /// at the last instant it can express.
    void advance(std::chrono::nanoseconds step);

    /// Moves both clocks so that the steady one shows `instant`; does nothing if that has passed.
    void advanceTo(std::chrono::steady_clock::time_point instant);

    /// Sets calendar time only, as when the user sets the date. Takes any number, also NaN and the
    /// infinities; later steps add to it.
    void setWallTime(double secondsSince1970);

private:
    // Calendar time is stored as its value when it was set, and the steady time since then: adding
    // step by step would accumulate rounding errors.
    struct Times {
        double wallWhenSet = firstSecondsSince1970;
        std::chrono::steady_clock::time_point steadyWhenSet;
        std::chrono::steady_clock::time_point steady;
    };

    detail::Guarded<Times> m_times;
};

/// The nearest number of nanoseconds, limited to what the type can express; 0 for NaN. For scripts
/// that write times as numbers.
TELVORA_EXPORT std::chrono::nanoseconds nanosecondsFromSeconds(double seconds);

namespace detail {

/// `instant` + `step`, at most the last instant that can be expressed. Requires: step >= 0.
std::chrono::steady_clock::time_point later(
    std::chrono::steady_clock::time_point instant, std::chrono::nanoseconds step);

} // namespace detail

} // namespace telvora
