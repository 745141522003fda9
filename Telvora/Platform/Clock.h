#pragma once

#include <Telvora/Base/Export.h>

#include <chrono>

namespace telvora {

/// The two clocks of the library. Calendar time goes on the wire; steady time is waited for and
/// measured with. Never subtract one from the other.
///
/// Threads: any thread, at any time.
/// Failure: none. Reading a clock always yields a value.
///
/// Implementations: Linux/Machine/LinuxClock (the machine's), Simulated/ManualClock (moved by the
/// test).
class TELVORA_EXPORT Clock {
public:
    virtual ~Clock() = default;

    /// Calendar time: seconds since 1970-01-01 UTC, with fraction. Jumps either way when somebody
    /// sets the date.
    virtual double secondsSince1970() const = 0;

    /// Time since an arbitrary start. Never goes back.
    virtual std::chrono::steady_clock::time_point steadyNow() const = 0;
};

} // namespace telvora
