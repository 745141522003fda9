#pragma once

#include <Telvora/Base/Export.h>

#include <chrono>

namespace telvora {

/// The two clocks of the library. Calendar time is sent in records; steady time serves to wait and
/// to measure. Never subtract one from the other.
///
/// Calendar time is used by TrackerDataExcavator, TrackerMeta and TrackerManager (times in records)
/// and by TrackerRetryCache (the age of a batch); steady time by CurlHTTPClient (time-outs).
///
/// Threads: any thread, at any time.
/// Failure: none. Reading a clock always yields a value.
///
/// Implementations: Linux/Machine/LinuxClock (the machine's), Simulated/ManualClock (moved by the
/// test).
class TELVORA_EXPORT Clock {
public:
    virtual ~Clock() = default;

    /// Calendar time: seconds since 1970-01-01 UTC, with fraction. Jumps forward or back when the
    /// date is set.
    virtual double secondsSince1970() const = 0;

    /// Time since an arbitrary start. Never decreases.
    virtual std::chrono::steady_clock::time_point steadyNow() const = 0;
};

} // namespace telvora
