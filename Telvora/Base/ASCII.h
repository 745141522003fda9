#pragma once

#include <algorithm>
#include <string>
#include <string_view>

/// Characters of ASCII alone. The functions of <cctype> depend on the host's locale.
///
/// Threads: any; there is no state.
namespace telvora::detail {

constexpr bool isLetter(char character)
{
    return (character >= 'a' && character <= 'z') || (character >= 'A' && character <= 'Z');
}

constexpr bool isDigit(char character)
{
    return character >= '0' && character <= '9';
}

constexpr char lowered(char character)
{
    return character >= 'A' && character <= 'Z' ? static_cast<char>(character - 'A' + 'a')
                                                : character;
}

inline std::string lowered(std::string_view text)
{
    std::string result(text);
    for (char& character : result)
        character = lowered(character);
    return result;
}

/// Whether the two differ at most in the case of ASCII letters.
constexpr bool equalsIgnoringCase(std::string_view one, std::string_view other)
{
    return std::equal(one.begin(), one.end(), other.begin(), other.end(),
        [](char a, char b) { return lowered(a) == lowered(b); });
}

} // namespace telvora::detail
