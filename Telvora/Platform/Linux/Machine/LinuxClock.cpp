#include <Telvora/Platform/Linux/Machine/LinuxClock.h>

namespace telvora::detail {

double LinuxClock::secondsSince1970() const
{
    const auto sinceEpoch = std::chrono::system_clock::now().time_since_epoch();
    return std::chrono::duration<double>(sinceEpoch).count();
}

std::chrono::steady_clock::time_point LinuxClock::steadyNow() const
{
    return std::chrono::steady_clock::now();
}

} // namespace telvora::detail
