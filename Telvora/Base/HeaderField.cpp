#include <Telvora/Base/HeaderField.h>

#include <Telvora/Base/ASCII.h>

#include <algorithm>

namespace telvora::detail {

namespace {

// Not the functions of <cctype>: those depend on the host's locale.
bool isLetter(char character)
{
    return (character >= 'a' && character <= 'z') || (character >= 'A' && character <= 'Z');
}

bool isDigit(char character)
{
    return character >= '0' && character <= '9';
}

} // namespace

bool isSameFieldName(std::string_view one, std::string_view other)
{
    return equalsIgnoringCase(one, other);
}

bool isFieldName(std::string_view text)
{
    constexpr std::string_view marks = "!#$%&'*+-.^_`|~";
    return !text.empty() && std::all_of(text.begin(), text.end(), [&](char character) {
        return isLetter(character) || isDigit(character)
            || marks.find(character) != std::string_view::npos;
    });
}

bool isFieldValue(std::string_view text)
{
    return text.find_first_of(std::string_view("\r\n\0", 3)) == std::string_view::npos;
}

std::string_view trimmedFieldValue(std::string_view text)
{
    constexpr std::string_view blanks = " \t\r\n\v\f";
    const std::size_t first = text.find_first_not_of(blanks);
    if (first == std::string_view::npos)
        return {};
    return text.substr(first, text.find_last_not_of(blanks) - first + 1);
}

} // namespace telvora::detail
