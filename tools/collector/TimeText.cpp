#include <tools/collector/TimeText.h>

#include <cmath>
#include <cstdint>
#include <cstdio>
#include <ctime>

namespace telvora::collector {

std::string isoTime(double secondsSince1970)
{
    constexpr std::int64_t perSecond = 1000;
    const auto sinceEpoch = static_cast<std::int64_t>(std::floor(secondsSince1970 * perSecond));
    const auto milliseconds = (sinceEpoch % perSecond + perSecond) % perSecond;
    const auto seconds = static_cast<std::time_t>((sinceEpoch - milliseconds) / perSecond);
    std::tm parts {};
    ::localtime_r(&seconds, &parts);

    char date[40];
    char fraction[16];
    char zone[8];
    std::strftime(date, sizeof date, "%Y-%m-%dT%H:%M:%S", &parts);
    std::snprintf(fraction, sizeof fraction, ".%03d", static_cast<int>(milliseconds));
    std::strftime(zone, sizeof zone, "%z", &parts);
    // ISO 8601 has a colon in the zone, strftime has none.
    return std::string(date) + fraction + std::string(zone).insert(3, ":");
}

std::string timeOfDay(double secondsSince1970)
{
    const std::string time = isoTime(secondsSince1970);
    constexpr std::size_t length = 12;
    return time.substr(time.find('T') + 1, length);
}

} // namespace telvora::collector
