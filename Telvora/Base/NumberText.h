#pragma once

#include <Telvora/Base/Export.h>

#include <string>

namespace telvora {

/// The shortest decimal text that reads back as `number`, without exponent where the number is
/// of ordinary size and always with at least one digit after the point: 390.0, 2.5, 1e+300,
/// nan, inf, -inf.
TELVORA_EXPORT std::string numberText(double number);

/// Appends the same to `out`.
TELVORA_EXPORT void appendNumberText(std::string& out, double number);

} // namespace telvora
