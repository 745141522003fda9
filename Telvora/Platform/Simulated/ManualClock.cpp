#include <Telvora/Platform/Simulated/ManualClock.h>

#include <algorithm>
#include <cmath>
#include <limits>

namespace telvora {

double ManualClock::secondsSince1970() const
{
    const Times times = m_times.get();
    return times.wallWhenSet
        + std::chrono::duration<double>(times.steady - times.steadyWhenSet).count();
}

std::chrono::steady_clock::time_point ManualClock::steadyNow() const
{
    return m_times.get().steady;
}

void ManualClock::advance(std::chrono::nanoseconds step)
{
    step = std::max(step, std::chrono::nanoseconds(0));
    m_times.with([&](Times& times) { times.steady = detail::later(times.steady, step); });
}

void ManualClock::advanceTo(std::chrono::steady_clock::time_point instant)
{
    m_times.with([&](Times& times) { times.steady = std::max(times.steady, instant); });
}

void ManualClock::setWallTime(double secondsSince1970)
{
    m_times.with([&](Times& times) {
        times.wallWhenSet = secondsSince1970;
        times.steadyWhenSet = times.steady;
    });
}

std::chrono::nanoseconds nanosecondsFromSeconds(double seconds)
{
    using std::chrono::nanoseconds;
    if (std::isnan(seconds))
        return nanoseconds(0);
    const double count = std::round(seconds * 1e9);
    // 2^63, which is a double; the largest 64-bit integer is none.
    constexpr double limit = 9223372036854775808.0;
    if (count >= limit)
        return nanoseconds::max();
    if (count < -limit)
        return nanoseconds::min();
    return nanoseconds(static_cast<nanoseconds::rep>(count));
}

namespace detail {

std::chrono::steady_clock::time_point later(
    std::chrono::steady_clock::time_point instant, std::chrono::nanoseconds step)
{
    constexpr auto last = std::chrono::steady_clock::time_point::max();
    return step > last - instant ? last : instant + step;
}

} // namespace detail

} // namespace telvora
