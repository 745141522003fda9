#include <Telvora/Platform/Curl/CurlReport.h>

#include <charconv>

namespace telvora::detail {

namespace {

// The number after `words` in `line`; absent if there is none.
std::optional<std::uint32_t> numberAfter(std::string_view words, std::string_view line)
{
    const auto place = line.find(words);
    if (place == std::string_view::npos)
        return std::nullopt;
    line.remove_prefix(place + words.size());
    std::uint32_t number = 0;
    const auto [end, error] = std::from_chars(line.data(), line.data() + line.size(), number);
    return error == std::errc() ? std::optional(number) : std::nullopt;
}

} // namespace

CurlReport parseLogLine(std::string_view line)
{
    CurlReport report;
    if (line.starts_with("Using Stream ID: "))
        report.stream = numberAfter("Using Stream ID: ", line);
    // The words before GOAWAY differ between versions: "recveived GOAWAY" in some.
    else if (line.find("GOAWAY, error=") != std::string_view::npos)
        report.lastStream = numberAfter("last_stream=", line);
    report.isRefused = line.starts_with("REFUSED_STREAM, retrying");
    report.isRepeating = line.starts_with("Connection died, retrying");
    return report;
}

} // namespace telvora::detail
