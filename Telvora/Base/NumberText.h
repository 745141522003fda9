#pragma once

#include <Telvora/Base/Export.h>

#include <cstddef>
#include <string>

namespace telvora {

/// The shortest decimal text that reads back as `number`, always with a point or an exponent, so
/// that it is seen to be no integer, and without an exponent from 0.0001 up to 1e16: 390.0, 2.5,
/// 1700000000.0, 1e+300; nan, inf, -inf.
TELVORA_EXPORT std::string numberText(double number);

/// The same without an exponent, however long that gets: 100000.0, not 1e+05.
TELVORA_EXPORT std::string decimalText(double number);

/// No text of writeNumberText() is longer.
inline constexpr std::size_t longestNumberText = 32;

/// Writes the same to `out`, which has room for longestNumberText, and returns the length.
TELVORA_EXPORT std::size_t writeNumberText(char* out, double number);

} // namespace telvora
