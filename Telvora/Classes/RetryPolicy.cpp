#include <Telvora/Classes/RetryPolicy.h>

#include <algorithm>
#include <cmath>

namespace telvora {

namespace {

// A hundred years in seconds; in nanoseconds they still fit into 64 bits.
constexpr double longestSeconds = 100.0 * 365 * 24 * 60 * 60;

// Without any wait a batch that fails at once would be tried for ever at one moment.
constexpr double shortestSeconds = 0.001;

double secondsOf(std::chrono::duration<double> duration)
{
    const double seconds = duration.count();
    return std::isnan(seconds) ? 0 : std::clamp(seconds, 0.0, longestSeconds);
}

} // namespace

std::int64_t RetryPolicy::retries() const
{
    return tries ? std::max<std::int64_t>(*tries, 1) - 1 : endless;
}

std::chrono::nanoseconds RetryPolicy::wait(
    std::int64_t failures, std::chrono::duration<double> asked, double random) const
{
    const double most = secondsOf(longest);
    double seconds = 0;
    if (failures != 0) {
        // Two to the 1,000th is beyond any wait.
        const auto doublings = static_cast<int>(std::clamp<std::int64_t>(failures, 1, 1000)) - 1;
        seconds = std::min(std::ldexp(secondsOf(first), doublings), most);
        if (jitter)
            seconds *= 0.5 + 0.5 * random;
        seconds = std::max({ seconds, std::min(secondsOf(asked), most), shortestSeconds });
    }
    return std::chrono::duration_cast<std::chrono::nanoseconds>(
        std::chrono::duration<double>(seconds));
}

} // namespace telvora
