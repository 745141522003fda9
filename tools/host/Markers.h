#pragma once

#include <Telvora/Base/Dictionary.h>

#include <cstdint>
#include <string_view>

/// Markers are objects in a script that stand for another value: {"$double": "nan"} for a number
/// that JSON cannot write, {"$bytes": HEX} for a string of any bytes, and {"$n": 0} or
/// {"$thread": 0} for a running number. None of these functions recurses.
namespace telvora::host {

/// Replaces each $double and $bytes by its number or string. Throws ScriptError for an invalid one.
void resolveMarkers(Value& value);

/// Replaces each {NAME: 0} by `number`.
void replaceMarker(Value& value, std::string_view name, std::int64_t number);

/// `line` as one line of JSON: numbers beyond JSON become $double, bad UTF-8 is repaired.
std::string lineText(const Dictionary& line);

} // namespace telvora::host
