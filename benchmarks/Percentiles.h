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

/// The value below which `share` (0 to 1) of `values` lie. Sorts them. The clock advances in steps
/// (of ten nanoseconds on some machines), so many readings are equal; the result is interpolated
/// within the step.
double percentile(std::vector<std::int64_t>& values, double share);

/// The median cost of reading the clock, in nanoseconds: part of every measured time.
double costOfClock();

} // namespace telvora
