#pragma once

#include <Telvora/Base/Dictionary.h>

#include <cstdint>
#include <string_view>

/// The objects in a script that stand for something else: {"$double": "nan"} for a number that
/// JSON cannot write, {"$bytes": HEX} for a string of any bytes, and {"$n": 0} or {"$thread": 0}
/// for a running number. None of these functions recurses.
namespace telvora::host {

/// Puts the numbers and strings that $double and $bytes stand for in their places. Throws
/// ScriptError for one that stands for nothing.
void resolveMarkers(Value& value);

/// Puts `number` in place of each {NAME: 0}.
void replaceMarker(Value& value, std::string_view name, std::int64_t number);

/// One line of text: numbers that JSON cannot write as $double, bad UTF-8 repaired.
std::string lineText(const Dictionary& line);

} // namespace telvora::host
