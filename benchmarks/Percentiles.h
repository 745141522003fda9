#pragma once

#include <cstdint>
#include <vector>

#include <time.h>

namespace telvora {

inline std::int64_t nanosecondsNow()
{
    timespec now;
    ::clock_gettime(CLOCK_MONOTONIC, &now);
    return now.tv_sec * std::int64_t(1'000'000'000) + now.tv_nsec;
}

/// The value below which `share` of `values` lie. Reorders them. The clock moves in steps (of ten
/// nanoseconds on some machines), so the value is interpolated within the step that it falls in:
/// a median of many equal readings is where in their step half of the calls are through.
double percentile(std::vector<std::int64_t>& values, double share);

/// What the clock itself adds to a measured stretch.
double costOfClock();

} // namespace telvora
