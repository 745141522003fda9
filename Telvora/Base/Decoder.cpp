#include <Telvora/Base/Dictionary.h>

#include <boost/json/parse.hpp>

#include <algorithm>
#include <charconv>
#include <cmath>
#include <cstdint>
#include <string>
#include <system_error>
#include <vector>

namespace telvora {

namespace {

bool isDigit(char character)
{
    return character >= '0' && character <= '9';
}

bool isNumberCharacter(char character)
{
    return isDigit(character) || character == '-' || character == '+' || character == '.'
        || character == 'e' || character == 'E';
}

// The place behind the string that begins at `quote`; the end of the text where none ends it.
std::size_t endOfString(std::string_view text, std::size_t quote)
{
    std::size_t end = quote;
    while ((end = text.find('"', end + 1)) != std::string_view::npos) {
        const std::size_t escapes = end - 1 - text.find_last_not_of('\\', end - 1);
        if (escapes % 2 == 0)
            return end + 1;
    }
    return text.size();
}

// Whether `token` is a number and no integer of 64 bits, as the parser sees it: one of RFC 8259,
// section 6, without the superfluous zeros that from_chars would read too.
bool isDouble(std::string_view token)
{
    const char* const end = token.data() + token.size();
    const char* at = token.data();
    const auto skipDigits = [&] {
        const char* const first = at;
        while (at != end && isDigit(*at))
            ++at;
        return at - first;
    };

    at += *at == '-' ? 1 : 0;
    const bool zeroFirst = at != end && *at == '0';
    const auto whole = skipDigits();
    if (whole == 0 || (zeroFirst && whole > 1))
        return false;
    if (at == end) {
        std::int64_t fitting = 0;
        std::uint64_t fittingUnsigned = 0;
        return std::from_chars(token.data(), end, fitting).ec != std::errc()
            && (*token.data() == '-'
                || std::from_chars(token.data(), end, fittingUnsigned).ec != std::errc());
    }
    if (*at == '.') {
        ++at;
        if (skipDigits() == 0)
            return false;
    }
    if (at != end && (*at == 'e' || *at == 'E')) {
        ++at;
        at += at != end && (*at == '+' || *at == '-') ? 1 : 0;
        if (skipDigits() == 0)
            return false;
    }
    return at == end;
}

// Boost 1.81's parser converts some doubles with an error of one unit in the last place, and a
// number has to be encoded as the number that was decoded. So the parser gets a text in which the
// place in this list, counted from 1, stands for each double. Such a small number it reads exactly.
class Doubles {
public:
    // The text to parse. Good for as long as `text` and this object.
    std::string_view takeOut(std::string_view text)
    {
        std::size_t kept = 0;
        for (std::size_t at = 0; at < text.size();) {
            if (text[at] == '"') {
                at = endOfString(text, at);
                continue;
            }
            if (!isNumberCharacter(text[at])) {
                ++at;
                continue;
            }
            const std::size_t first = at;
            while (at < text.size() && isNumberCharacter(text[at]))
                ++at;
            const std::string_view token = text.substr(first, at - first);
            if (!isDouble(token))
                continue;
            m_isAny = true;
            double number = 0;
            // One that is out of range stays in the text: the parser makes of it zero, infinity or
            // the number at the end of the range.
            if (std::from_chars(token.data(), token.data() + token.size(), number).ec
                != std::errc())
                continue;
            m_exact.push_back(number);
            m_text += text.substr(kept, first - kept);
            m_text += std::to_string(m_exact.size()) + "e0";
            kept = at;
        }
        if (m_exact.empty())
            return text;
        m_text += text.substr(kept);
        return m_text;
    }

    // Puts the doubles back. False where one is infinite.
    bool putBack(Value& root) const
    {
        std::vector<Value*> left;
        if (m_isAny)
            left.push_back(&root);
        while (!left.empty()) {
            Value& value = *left.back();
            left.pop_back();
            if (Array* array = value.if_array()) {
                for (Value& element : *array)
                    left.push_back(&element);
            } else if (Dictionary* dictionary = value.if_object()) {
                for (auto& member : *dictionary)
                    left.push_back(&member.value());
            } else if (double* number = value.if_double()) {
                if (!std::isfinite(*number))
                    return false;
                if (*number >= 1 && *number <= static_cast<double>(m_exact.size()))
                    *number = m_exact[static_cast<std::size_t>(*number) - 1];
            }
        }
        return true;
    }

private:
    bool m_isAny = false;
    std::vector<double> m_exact;
    std::string m_text;
};

// Boost's parser recurses. A level takes 200 bytes of stack without optimisation.
constexpr std::size_t mostLevels = 8192;

} // namespace

Decoded decode(std::string_view text, std::size_t levels)
{
    boost::json::parse_options options;
    options.max_depth = std::min(levels, mostLevels);
    Doubles doubles;
    boost::json::error_code error;
    Value value = boost::json::parse(doubles.takeOut(text), error, {}, options);
    if (!error && !doubles.putBack(value))
        error = boost::json::error::exponent_overflow;
    if (error)
        return { std::nullopt, error.message() };
    return { std::move(value), {} };
}

} // namespace telvora
