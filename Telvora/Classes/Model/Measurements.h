#pragma once

#include <chrono>
#include <optional>
#include <ratio>
#include <string>

/// The measurements of TrackerManager+Enroll.cpp with a name for each number. Durations are of any
/// std::chrono type and are sent as milliseconds with fraction. (The operations that take numbers
/// send these as they are, in whatever unit.)
///
/// Fallbacks: a duration that is left out is 0. A page that is left out is the class name of the
/// screen on top, or null where none is known; an empty one is sent as it is.
///
/// Threads: values without a lock.
namespace telvora {

/// Converts from every duration of std::chrono, and keeps fractions.
using Milliseconds = std::chrono::duration<double, std::milli>;

/// A frame that took long.
struct SlowFrame {
    /// The slow part of `total`: "at".
    Milliseconds slow {};
    /// "ct".
    Milliseconds total {};
    /// "p".
    std::optional<std::string> page {};
};

/// A frame that took so long that the user noticed.
struct FrozenFrame {
    /// The frozen part of `total`: "at".
    Milliseconds frozen {};
    /// "ct".
    Milliseconds total {};
    /// "p".
    std::optional<std::string> page {};
};

/// The first frame of a page.
struct FirstFrame {
    /// How long the page took to show it: "f". Rounded to two decimals of a millisecond, half away
    /// from zero.
    Milliseconds time {};
    /// "p".
    std::optional<std::string> page {};
};

/// The largest contentful paint of a page.
struct LCP {
    /// Initialisation time: "fcp".
    Milliseconds init {};
    /// Render time: "pt".
    Milliseconds render {};
    /// Request time: "reqt".
    Milliseconds request {};
    /// First-frame time: "ft".
    Milliseconds firstFrame {};
    /// Total time: "ct".
    Milliseconds total {};
    /// "p".
    std::optional<std::string> page {};
};

/// A launch of the application. Each member is called like its key in the report; what the times
/// mean is agreed between the host and its dashboards.
struct Launch {
    /// When the launch was, sent in seconds since 1970. Absent: the time of the call.
    std::optional<std::chrono::sys_time<std::chrono::nanoseconds>> d {};
    /// "fp".
    Milliseconds fp {};
    /// "fpt".
    Milliseconds fpt {};
    /// "dcl".
    Milliseconds dcl {};
    /// "fcp".
    Milliseconds fcp {};
    /// The total time.
    Milliseconds ct {};
    /// "at".
    Milliseconds at {};
    /// "ht".
    Milliseconds ht {};
};

} // namespace telvora
