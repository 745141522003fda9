#pragma once

#include <Telvora/Base/Export.h>

#include <boost/json/array.hpp>
#include <boost/json/object.hpp>
#include <boost/json/value.hpp>

#include <cstddef>
#include <map>
#include <optional>
#include <string>
#include <string_view>

/// The JSON values that events consist of, their text, and how to read that text.
///
/// Threads: values without a lock. Several threads may read one Dictionary while none changes it.
/// Depth: these functions, except decode(), do not recurse, so a value may be nested as deep as
/// memory allows. decode() recurses once for each level and refuses a text with too many.
/// Boost.JSON's own copy constructor and destructor do recurse; where the host chooses the depth,
/// the library uses copy() and dispose() instead.
/// Failure: std::bad_alloc where there is no memory; dispose() throws nothing.
namespace telvora {

/// An event, a batch, a channel's common data. Keeps the order in which keys were inserted.
using Dictionary = boost::json::object;
/// Any JSON value.
using Value = boost::json::value;
/// A list of JSON values.
using Array = boost::json::array;

/// Header fields, page parameters. Sorted by key.
using StringDictionary = std::map<std::string, std::string, std::less<>>;

/// The white space of a JSON text.
enum class EncodeStyle {
    /// No white space.
    compact,
    /// Two spaces a level, one member a line, " : " between key and value.
    pretty,
};

/// JSON text of `dictionary`, members in their order; absent when a number in it is NaN or
/// infinite, which JSON cannot express. Each maximal part of a sequence that is not UTF-8 becomes
/// one U+FFFD (Unicode 15, 3.9, table 3-8). Integers are exact. A double becomes the shortest text
/// that is read as the same double again, always with a point or an exponent.
TELVORA_EXPORT std::optional<std::string> encode(
    const Dictionary& dictionary, EncodeStyle style = EncodeStyle::compact);

/// The same for any value.
TELVORA_EXPORT std::optional<std::string> encode(
    const Value& value, EncodeStyle style = EncodeStyle::compact);

/// Compact JSON text of both dictionaries as one object: first the members of `under` whose keys
/// `over` does not have, then those of `over`. Nothing is copied.
TELVORA_EXPORT std::optional<std::string> encodeMerged(
    const Dictionary& under, const Dictionary& over);

/// The dictionary as text for a log line: compact JSON, but a number that JSON cannot express is
/// printed as nan, inf or -inf.
TELVORA_EXPORT std::string describe(const Dictionary& dictionary);

/// `text` with U+FFFD in place of each sequence that is not UTF-8, as in encode().
TELVORA_EXPORT std::string repairedUTF8(std::string_view text);

/// The result of decode().
struct Decoded {
    /// Absent when the text is not JSON.
    std::optional<Value> value;
    /// Why there is no value; empty where there is one.
    std::string error;
};

/// Reads one JSON value of any kind (RFC 8259). Text after it, text that is not UTF-8, empty text
/// and containers nested deeper than `levels` are errors. Integers of up to 64 bits are exact. More
/// than 8,192 `levels` count as 8,192, for which it needs 2 MiB of stack.
TELVORA_EXPORT Decoded decode(std::string_view text, std::size_t levels = 512);

/// A deep copy without recursion.
TELVORA_EXPORT Dictionary copy(const Dictionary& dictionary);
/// The same of an array.
TELVORA_EXPORT Array copy(const Array& array);
/// The same of any value.
TELVORA_EXPORT Value copy(const Value& value);

/// Destroys a value without recursion. Looks at each member once. A value in memory that is given
/// back as a whole (boost::json::is_deallocate_trivial) stays as it is.
TELVORA_EXPORT void dispose(Dictionary&& dictionary) noexcept;
/// The same of an array.
TELVORA_EXPORT void dispose(Array&& array) noexcept;
/// The same of any value.
TELVORA_EXPORT void dispose(Value&& value) noexcept;

} // namespace telvora
