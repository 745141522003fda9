#pragma once

#include <Telvora/Base/Dictionary.h>

#include <concepts>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace telvora::detail {

/// What to do with a number that JSON cannot express: NaN or an infinity.
enum class NonFinite {
    /// Fail: there is no text.
    refuse,
    /// Write nan, inf or -inf; the text is shown in logs.
    print,
    /// Write null.
    asNull,
};

/// Writes one value as JSON text, without recursion: a vector holds the open containers.
///
/// Ours, although Boost.JSON has a serializer: that one copies bytes that are not UTF-8, writes NaN
/// without an error and cannot indent. Checking and repairing first would walk every event twice.
///
/// Life: one for one text, or for many with clear() between them.
/// Threads: a value without a lock.
class Encoder {
public:
    Encoder(EncodeStyle style, NonFinite nonFinite);

    /// Appends the value. False when it holds a number that is refused; the text is then useless.
    bool write(const Value& value);
    bool write(const Dictionary& dictionary);
    bool write(const Array& array);
    bool write(std::nullptr_t);
    /// A template, so that a pointer is not converted to bool.
    template<std::same_as<bool> Flag> bool write(Flag flag)
    {
        append(flag ? std::string_view("true") : "false");
        return true;
    }
    bool write(std::int64_t number);
    bool write(std::uint64_t number);
    bool write(double number);
    bool write(std::string_view text);

    /// An object member by member: openObject(), then writeKey() and write() for each, then
    /// closeObject(). Compact only.
    void openObject();
    void writeKey(std::string_view key);
    void closeObject();

    /// Appends one object: the members of `under` whose keys `over` does not have, then those of
    /// `over`. Compact only. False as for write().
    bool writeMerged(const Dictionary& under, const Dictionary& over);

    /// Appends the dictionary with an empty array under `key`, in the place of the member with that
    /// key or, if there is none, at the end. Compact only. Returns the position behind the array's
    /// opening bracket; absent as write() returns false.
    std::optional<std::size_t> writeAroundList(const Dictionary& dictionary, std::string_view key);

    /// Whether U+FFFD was written in place of a sequence that is not UTF-8.
    bool hasRepaired() const { return m_hasRepaired; }

    /// How many containers are nested in the values of the text.
    std::size_t depth() const { return m_depth; }

    /// The text so far. The view is valid until the next change.
    std::string_view view() const { return { m_text.get(), m_size }; }
    std::string text() const { return std::string(view()); }

    /// From the next number on.
    void setNonFinite(NonFinite nonFinite) { m_nonFinite = nonFinite; }

    /// Begins a new text. Keeps the memory unless the last text was long.
    void clear();

    /// Appends `text` as a JSON string, with U+FFFD in place of sequences that are not UTF-8.
    void writeString(std::string_view text);

    /// Appends `text` with U+FFFD in place of sequences that are not UTF-8, otherwise unchanged.
    void writeRepaired(std::string_view text);

private:
    // A container that is being written: its next member and the end of its members.
    struct Level {
        const Dictionary::value_type* member = nullptr;
        const Dictionary::value_type* memberEnd = nullptr;
        const Value* element = nullptr;
        const Value* elementEnd = nullptr;
        bool isFirst = true;
    };

    bool finish();
    void writeSequence(std::string_view& text);
    bool writeValue(const Value& value);
    template<typename Number> void writeWhole(Number number);
    void open(const Dictionary& dictionary);
    void open(const Array& array);
    void push(const Level& level);
    void startLine();
    void escape(unsigned char character);

    // Where to write the next bytes, with room for `bytes` of them.
    char* room(std::size_t bytes)
    {
        if (m_capacity - m_size < bytes) [[unlikely]]
            return grow(bytes);
        return m_text.get() + m_size;
    }
    char* grow(std::size_t bytes);
    void append(char character);
    void append(std::string_view text);

    // Not a std::string: growing one fills the new bytes with zeros, which cost time for nothing.
    std::unique_ptr<char[]> m_text;
    std::size_t m_size = 0;
    std::size_t m_capacity = 0;
    std::vector<Level> m_levels;
    std::size_t m_depth = 0;
    bool m_hasRepaired = false;
    EncodeStyle m_style;
    NonFinite m_nonFinite;
};

} // namespace telvora::detail
