#include <tools/collector/Query.h>

#include <tools/collector/Duration.h>
#include <tools/collector/JSONBytes.h>
#include <tools/collector/Printable.h>

#include <algorithm>
#include <charconv>

namespace telvora::collector {
namespace {

std::string quoted(std::string_view text)
{
    constexpr std::size_t longest = 100;
    return '"' + printable(text, longest) + '"';
}

std::string decoded(std::string_view text)
{
    if (auto plain = percentDecoded(text))
        return *std::move(plain);
    throw QueryError("a % without two hexadecimal digits in " + quoted(text));
}

std::string listed(std::initializer_list<std::string_view> names)
{
    std::string text;
    for (const std::string_view name : names)
        text.append(text.empty() ? "" : ", ").append(name);
    return text;
}

// Absent where `text` is not a number from 0.
std::optional<double> number(std::string_view text)
{
    double value = 0;
    const char* const end = text.data() + text.size();
    const auto [stop, error] = std::from_chars(text.data(), end, value);
    if (error != std::errc() || stop != end || !(value >= 0))
        return std::nullopt;
    return value;
}

} // namespace

Query::Query(std::string_view target, std::initializer_list<std::string_view> known)
{
    const std::size_t mark = target.find('?');
    std::string_view rest = mark == std::string_view::npos ? "" : target.substr(mark + 1);
    while (!rest.empty()) {
        const std::string_view item = rest.substr(0, rest.find('&'));
        rest.remove_prefix(std::min(rest.size(), item.size() + 1));
        if (item.empty())
            continue;
        const std::size_t equals = std::min(item.find('='), item.size());
        const std::string name = decoded(item.substr(0, equals));
        if (std::find(known.begin(), known.end(), name) == known.end())
            throw QueryError("unknown parameter " + quoted(name) + "; there are " + listed(known));
        if (equals == item.size())
            throw QueryError(name + " has no value");
        if (!m_values.emplace(name, decoded(item.substr(equals + 1))).second)
            throw QueryError(name + " is given twice");
    }
}

std::optional<std::string> Query::text(std::string_view name) const
{
    const auto found = m_values.find(name);
    if (found == m_values.end())
        return std::nullopt;
    return found->second;
}

std::uint64_t Query::count(std::string_view name, std::uint64_t standard) const
{
    const auto found = m_values.find(name);
    if (found == m_values.end())
        return standard;
    constexpr double largest = 9e15;
    const auto value = number(found->second);
    if (!value || *value > largest)
        throw QueryError(std::string(name) + " must be a number from 0");
    return static_cast<std::uint64_t>(*value);
}

std::chrono::milliseconds Query::duration(std::string_view name, std::chrono::milliseconds standard,
    std::chrono::milliseconds longest) const
{
    const auto found = m_values.find(name);
    if (found == m_values.end())
        return standard;
    const auto seconds = number(found->second);
    const auto value
        = seconds ? secondsDuration(*seconds, longest) : readDuration(found->second, longest);
    if (!value)
        throw QueryError(std::string(name) + " must be a number of seconds, or a text such as "
            + durationExamples + ", up to "
            + std::to_string(std::chrono::duration_cast<std::chrono::seconds>(longest).count())
            + " s");
    return *value;
}

std::optional<std::string> percentDecoded(std::string_view text)
{
    std::string plain;
    for (std::size_t at = 0; at < text.size(); ++at) {
        if (text[at] != '%') {
            plain += text[at];
            continue;
        }
        const int high = at + 2 < text.size() ? hexDigit(text[at + 1]) : -1;
        const int low = at + 2 < text.size() ? hexDigit(text[at + 2]) : -1;
        if (high < 0 || low < 0)
            return std::nullopt;
        plain += static_cast<char>(high * 16 + low);
        at += 2;
    }
    return plain;
}

std::string percentEncoded(std::string_view text)
{
    constexpr char digits[] = "0123456789ABCDEF";
    std::string encoded;
    for (const char c : text) {
        const bool isLetter = (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z');
        if (isLetter || isDigit(c) || std::string_view("/-._~").find(c) != std::string_view::npos) {
            encoded += c;
            continue;
        }
        const auto byte = static_cast<unsigned char>(c);
        encoded += '%';
        encoded += digits[byte >> 4U];
        encoded += digits[byte & 0xFU];
    }
    return encoded;
}

} // namespace telvora::collector
