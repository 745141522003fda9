#pragma once

#include <cstddef>
#include <string_view>

namespace telvora::detail {

/// The first bytes of a text that belong together.
struct UTF8Sequence {
    /// In bytes. Where the bytes are no character, this is the longest part that could begin one,
    /// at least 1 (Unicode 15, 3.9, "U+FFFD Substitution of Maximal Subparts").
    std::size_t length;
    /// Whether the bytes are a character.
    bool isValid;
};

/// The sequence at the front of `text`, which must not be empty.
UTF8Sequence firstUTF8Sequence(std::string_view text);

/// U+FFFD in UTF-8.
inline constexpr std::string_view replacementCharacter = "\xEF\xBF\xBD";

} // namespace telvora::detail
