#pragma once

#include <cstddef>
#include <string_view>

namespace telvora::detail {

/// How many bytes at the front of `text` belong together, and whether they are a character.
/// A bad sequence is as long as its maximal part that could have begun a character (Unicode 15,
/// 3.9, "U+FFFD Substitution of Maximal Subparts").
struct UTF8Sequence {
    std::size_t length;
    bool isValid;
};

/// Looks at the front of `text`, which must not be empty.
UTF8Sequence firstUTF8Sequence(std::string_view text);

/// U+FFFD in UTF-8.
inline constexpr std::string_view replacementCharacter = "\xEF\xBF\xBD";

} // namespace telvora::detail
