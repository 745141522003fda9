#include <Telvora/Platform/Qt/ProcessStart.h>

#include <cstdint>
#include <fstream>
#include <iterator>
#include <sstream>
#include <time.h>
#include <unistd.h>

namespace telvora::detail {

std::optional<std::chrono::nanoseconds> processAge()
{
    std::ifstream file("/proc/self/stat");
    const std::string stat { std::istreambuf_iterator<char>(file), {} };
    timespec sinceBoot {};
    if (clock_gettime(CLOCK_BOOTTIME, &sinceBoot) != 0)
        return std::nullopt;
    return processAge(stat, sysconf(_SC_CLK_TCK),
        std::chrono::seconds(sinceBoot.tv_sec) + std::chrono::nanoseconds(sinceBoot.tv_nsec));
}

std::optional<std::chrono::nanoseconds> processAge(
    const std::string& stat, long stepsPerSecond, std::chrono::nanoseconds sinceBoot)
{
    const std::size_t name = stat.rfind(')');
    if (name == std::string::npos || stepsPerSecond <= 0)
        return std::nullopt;
    std::istringstream fields(stat.substr(name + 1));
    std::string field;
    // From field 3 on.
    for (int number = 3; number < 22; ++number) {
        if (!(fields >> field))
            return std::nullopt;
    }
    std::int64_t steps = 0;
    if (!(fields >> steps) || steps < 0)
        return std::nullopt;
    // The whole seconds apart, since nanoseconds times steps would overflow after some years.
    using std::chrono::seconds;
    const std::chrono::nanoseconds started = seconds(steps / stepsPerSecond)
        + std::chrono::nanoseconds(seconds(1)) * (steps % stepsPerSecond) / stepsPerSecond;
    const auto age = sinceBoot - started;
    return age.count() >= 0 ? std::optional<std::chrono::nanoseconds>(age) : std::nullopt;
}

} // namespace telvora::detail
