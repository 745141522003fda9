#include <Telvora/Platform/Simulated/ManualClock.h>

#include <algorithm>
#include <cmath>
#include <limits>

namespace telvora {

double ManualClock::secondsSince1970() const
{
    MutexLock lock(m_lock);
    return m_wallWhenSet + std::chrono::duration<double>(m_steady - m_steadyWhenSet).count();
}

std::chrono::steady_clock::time_point ManualClock::steadyNow() const
{
    MutexLock lock(m_lock);
    return m_steady;
}

void ManualClock::advance(std::chrono::nanoseconds step)
{
    MutexLock lock(m_lock);
    m_steady = detail::later(m_steady, std::max(step, std::chrono::nanoseconds(0)));
}

void ManualClock::advanceTo(std::chrono::steady_clock::time_point instant)
{
    MutexLock lock(m_lock);
    m_steady = std::max(m_steady, instant);
}

void ManualClock::setWallTime(double secondsSince1970)
{
    MutexLock lock(m_lock);
    m_wallWhenSet = secondsSince1970;
    m_steadyWhenSet = m_steady;
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
