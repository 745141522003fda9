#include <Telvora/Base/HeaderField.h>

#include <Telvora/Base/ASCII.h>

#include <algorithm>

namespace telvora::detail {

bool isSameFieldName(std::string_view one, std::string_view other)
{
    return equalsIgnoringCase(one, other);
}

bool isFieldName(std::string_view text)
{
    return !text.empty() && std::ranges::all_of(text, [](char character) {
        constexpr std::string_view marks = "!#$%&'*+-.^_`|~";
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
