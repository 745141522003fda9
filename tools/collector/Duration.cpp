#include <tools/collector/Duration.h>

#include <charconv>
#include <cmath>

namespace telvora::collector {
namespace {

struct Unit {
    std::string_view name;
    double seconds;
};

constexpr Unit units[] { { "ms", 0.001 }, { "s", 1 }, { "min", 60 }, { "h", 3600 } };

} // namespace

std::optional<std::chrono::milliseconds> readDuration(
    std::string_view text, std::chrono::milliseconds longest)
{
    double number = 0;
    const char* const end = text.data() + text.size();
    const auto [stop, error] = std::from_chars(text.data(), end, number, std::chars_format::fixed);
    if (error != std::errc())
        return std::nullopt;
    std::string_view rest(stop, static_cast<std::size_t>(end - stop));
    if (rest.starts_with(' '))
        rest.remove_prefix(1);
    for (const Unit& unit : units) {
        if (rest == unit.name)
            return secondsDuration(number * unit.seconds, longest);
    }
    return std::nullopt;
}

std::optional<std::chrono::milliseconds> secondsDuration(
    double seconds, std::chrono::milliseconds longest)
{
    const double milliseconds = seconds * 1000;
    // Not true of a NaN either.
    const bool isInRange
        = milliseconds >= 0 && milliseconds <= static_cast<double>(longest.count());
    if (!isInRange)
        return std::nullopt;
    return std::chrono::milliseconds(std::llround(milliseconds));
}

} // namespace telvora::collector
