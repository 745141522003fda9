#include <Telvora/Classes/Utils/RetryAfter.h>

#include <Telvora/Base/HeaderField.h>

#include <algorithm>
#include <array>
#include <charconv>
#include <cstdint>
#include <system_error>

namespace telvora::detail {

namespace {

constexpr std::array<std::string_view, 12> months { "Jan", "Feb", "Mar", "Apr", "May", "Jun", "Jul",
    "Aug", "Sep", "Oct", "Nov", "Dec" };

// Takes a date apart from its front. After something else than expected, nothing is right any more.
class DateReader {
public:
    explicit DateReader(std::string_view rest)
        : m_rest(rest)
    {
    }

    // A number of `digits`; a space stands for a zero in front.
    int number(std::size_t digits)
    {
        std::string_view text = m_rest.substr(0, digits);
        m_rest.remove_prefix(text.size());
        if (text.starts_with(' '))
            text.remove_prefix(1);
        int value = 0;
        const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
        m_isRight
            = m_isRight && error == std::errc() && end == text.data() + text.size() && value >= 0;
        return value;
    }

    unsigned month()
    {
        const auto found = std::find(months.begin(), months.end(), m_rest.substr(0, 3));
        m_isRight = m_isRight && found != months.end();
        m_rest.remove_prefix(std::min<std::size_t>(3, m_rest.size()));
        return static_cast<unsigned>(found - months.begin()) + 1;
    }

    void skip(std::string_view expected)
    {
        m_isRight = m_isRight && m_rest.starts_with(expected);
        m_rest.remove_prefix(std::min(expected.size(), m_rest.size()));
    }

    double time()
    {
        const int hour = number(2);
        skip(":");
        const int minute = number(2);
        skip(":");
        const int second = number(2);
        // 60 is a leap second.
        m_isRight = m_isRight && hour < 24 && minute < 60 && second <= 60;
        return hour * 3600.0 + minute * 60.0 + second;
    }

    bool isRight() const { return m_isRight && m_rest.empty(); }

private:
    std::string_view m_rest;
    bool m_isRight = true;
};

std::optional<double> secondsSince1970(
    const DateReader& reader, int year, unsigned month, int day, double time)
{
    const std::chrono::year_month_day date { std::chrono::year(year), std::chrono::month(month),
        std::chrono::day(static_cast<unsigned>(day)) };
    if (!reader.isRight() || !date.ok())
        return std::nullopt;
    const auto days = std::chrono::sys_days(date).time_since_epoch();
    return std::chrono::duration<double>(days).count() + time;
}

// The three forms of a date in HTTP: "Sun, 06 Nov 1994 08:49:37 GMT", and the obsolete
// "Sunday, 06-Nov-94 08:49:37 GMT" and "Sun Nov  6 08:49:37 1994".
std::optional<double> parsedDate(std::string_view text)
{
    const std::size_t comma = text.find(',');
    if (comma == std::string_view::npos) {
        DateReader reader(text.substr(std::min<std::size_t>(4, text.size())));
        const unsigned month = reader.month();
        reader.skip(" ");
        const int day = reader.number(2);
        reader.skip(" ");
        const double time = reader.time();
        reader.skip(" ");
        return secondsSince1970(reader, reader.number(4), month, day, time);
    }
    DateReader reader(text.substr(comma + 1));
    const bool isOld = text.substr(comma).find('-') != std::string_view::npos;
    const std::string_view between = isOld ? "-" : " ";
    reader.skip(" ");
    const int day = reader.number(2);
    reader.skip(between);
    const unsigned month = reader.month();
    reader.skip(between);
    // Two digits: a year of this century, as far as anybody asks to wait.
    const int year = isOld ? 2000 + reader.number(2) : reader.number(4);
    reader.skip(" ");
    const double time = reader.time();
    reader.skip(" GMT");
    return secondsSince1970(reader, year, month, day, time);
}

std::optional<double> parsedSeconds(std::string_view text)
{
    std::uint64_t seconds = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), seconds);
    if (end != text.data() + text.size() || error == std::errc::invalid_argument)
        return std::nullopt;
    // More than 64 bits can hold is as long as anything.
    return error == std::errc() ? static_cast<double>(seconds) : 1e18;
}

} // namespace

std::optional<std::chrono::duration<double>> retryAfter(const HTTPAnswer& answer, double now)
{
    if (answer.status != 429 && answer.status != 503)
        return std::nullopt;
    const auto header = std::ranges::find_if(answer.headers,
        [](const auto& field) { return isSameFieldName(field.first, "Retry-After"); });
    if (header == answer.headers.end())
        return std::nullopt;
    const std::string_view text = trimmedFieldValue(header->second);
    std::optional<double> wait = parsedSeconds(text);
    if (!wait) {
        if (const auto date = parsedDate(text))
            wait = *date - now;
    }
    if (!wait || !(*wait > 0))
        return std::nullopt;
    return std::chrono::duration<double>(*wait);
}

} // namespace telvora::detail
