#pragma once

#include <Telvora/Base/Export.h>

#include <cstddef>
#include <string>

namespace telvora::detail {

/// The shortest decimal text that is read as the same number again: 390.0, 2.5, 1700000000.0,
/// 1e+300; nan, inf, -inf. It always has a point or an exponent, so that a reader does not take it
/// for an integer. From 0.0001 up to 1e16 it has no exponent.
TELVORA_EXPORT std::string numberText(double number);

/// The same without an exponent, however long the text becomes: 100000.0, not 1e+05.
TELVORA_EXPORT std::string decimalText(double number);

/// The length in bytes that no text of writeNumberText() exceeds.
inline constexpr std::size_t longestNumberText = 32;

/// Writes the text of numberText() to `out`, which has room for longestNumberText, and returns its
/// length in bytes. No zero is written behind it.
TELVORA_EXPORT std::size_t writeNumberText(char* out, double number);

} // namespace telvora::detail
