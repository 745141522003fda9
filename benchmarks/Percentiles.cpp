#include <benchmarks/Percentiles.h>

#include <algorithm>
#include <cstddef>

namespace telvora {

namespace {

// Our clocks advance in smaller steps; a larger distance is a gap between readings.
constexpr std::int64_t longestStep = 20;

} // namespace

double percentile(std::vector<std::int64_t>& values, double share)
{
    std::sort(values.begin(), values.end());
    const double rank = share * static_cast<double>(values.size());
    const auto place = std::min(static_cast<std::size_t>(rank), values.size() - 1);
    const std::int64_t value = values[place];
    const auto first = std::lower_bound(values.begin(), values.end(), value);
    const auto last = std::upper_bound(first, values.end(), value);
    if (last == values.end() || *last - value > longestStep)
        return static_cast<double>(value);
    const double before = static_cast<double>(first - values.begin());
    return static_cast<double>(value)
        + static_cast<double>(*last - value)
        * ((rank - before) / static_cast<double>(last - first) - 0.5);
}

double costOfClock()
{
    std::vector<std::int64_t> costs(100'001);
    for (std::int64_t& cost : costs) {
        const std::int64_t start = nanosecondsNow();
        cost = nanosecondsNow() - start;
    }
    return percentile(costs, 0.5);
}

} // namespace telvora
