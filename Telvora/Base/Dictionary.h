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

/// The JSON value that an event is made of, and its way to text and back.
///
/// Threads: values, not services. A Dictionary that several threads only read is safe.
/// Depth: these functions do not recurse, so a value may be nested as deep as memory holds.
/// Boost.JSON's own copy constructor and destructor do recurse; where the depth is the host's
/// choice, the library goes through copy() and dispose().
namespace telvora {

/// An event, a batch, a channel's common data. Keeps the order in which keys were inserted.
using Dictionary = boost::json::object;
using Value = boost::json::value;
using Array = boost::json::array;

/// Header fields, page parameters.
using StringDictionary = std::map<std::string, std::string, std::less<>>;

enum class EncodeStyle {
    /// No white space.
    compact,
    /// Two spaces a level, one member a line, " : " between key and value.
    pretty,
};

/// JSON text of `dictionary`, members in their order; absent when a number in it is NaN or
/// infinite, which JSON cannot carry. Bytes that are not UTF-8 become U+FFFD, one for each
/// maximal part of a sequence (Unicode 15, 3.9, table 3-8). Integers are exact; doubles are the
/// shortest text that reads back as the same double, always with a point or an exponent.
TELVORA_EXPORT std::optional<std::string> encode(
    const Dictionary& dictionary, EncodeStyle style = EncodeStyle::compact);

/// The same for any value.
TELVORA_EXPORT std::optional<std::string> encode(
    const Value& value, EncodeStyle style = EncodeStyle::compact);

/// Compact JSON text of the members of `under` that `over` lacks, and then of those of `over`:
/// what encode() would give for the two merged, `over` winning, without merging them.
TELVORA_EXPORT std::optional<std::string> encodeMerged(
    const Dictionary& under, const Dictionary& over);

/// A dictionary as a person should see it in a log line: compact JSON, but a number that JSON
/// cannot carry is printed as nan, inf or -inf instead of spoiling the text.
TELVORA_EXPORT std::string describe(const Dictionary& dictionary);

/// `text` with each bad byte sequence replaced by U+FFFD, as encode() does it.
TELVORA_EXPORT std::string repairedUTF8(std::string_view text);

/// What decode() found: a value, or the reason why there is none.
struct Decoded {
    std::optional<Value> value;
    std::string error;
};

/// Reads one JSON value of any kind (RFC 8259). Text after it, text that is not UTF-8, empty text
/// and containers nested deeper than `levels` are errors. Integers stay exact over 64 bits.
TELVORA_EXPORT Decoded decode(std::string_view text, std::size_t levels = 512);

/// A deep copy without recursion.
TELVORA_EXPORT Dictionary copy(const Dictionary& dictionary);
TELVORA_EXPORT Array copy(const Array& array);

/// Destroys a value without recursion. Costs one look at each member where nothing is nested.
TELVORA_EXPORT void dispose(Dictionary&& dictionary) noexcept;
TELVORA_EXPORT void dispose(Array&& array) noexcept;
TELVORA_EXPORT void dispose(Value&& value) noexcept;

} // namespace telvora
