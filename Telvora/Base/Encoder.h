#pragma once

#include <Telvora/Base/Dictionary.h>

#include <memory>
#include <string>
#include <string_view>
#include <vector>

namespace telvora::detail {

/// What to do with a number that JSON cannot carry.
enum class NonFinite {
    /// Give up: there is no text.
    refuse,
    /// Write nan, inf or -inf; the text is for people.
    print,
};

/// Writes one value as JSON text. Not recursive: the way down is kept in a vector.
///
/// Ours, although Boost.JSON has a serializer: that one copies bad UTF-8 through, writes NaN
/// without a word and cannot indent; checking and repairing before it would walk every event twice.
class Encoder {
public:
    Encoder(EncodeStyle style, NonFinite nonFinite);

    /// False when the value holds a number that JSON cannot carry and that is refused.
    bool write(const Value& value);
    bool write(const Dictionary& dictionary);

    /// The members of `under` that `over` lacks and those of `over`, as one object. Compact only.
    bool writeMerged(const Dictionary& under, const Dictionary& over);

    /// The text so far.
    std::string text() const;

    /// Appends `text` repaired, between quotes.
    void writeString(std::string_view text);

    /// Appends `text` with U+FFFD in place of bad sequences and nothing else changed.
    void writeRepaired(std::string_view text);

private:
    // A container that is being written: the next of its members and the end of them.
    struct Level {
        const Dictionary::value_type* member = nullptr;
        const Dictionary::value_type* memberEnd = nullptr;
        const Value* element = nullptr;
        const Value* elementEnd = nullptr;
        bool isFirst = true;
    };

    bool finish();
    bool writeValue(const Value& value);
    bool writeDouble(double number);
    void open(const Dictionary& dictionary);
    void open(const Array& array);
    void startLine();
    void escape(unsigned char character);

    // Where the next `bytes` bytes go.
    char* room(std::size_t bytes)
    {
        if (m_capacity - m_size < bytes) [[unlikely]]
            return grow(bytes);
        return m_text.get() + m_size;
    }
    char* grow(std::size_t bytes);
    void append(char character);
    void append(std::string_view text);

    // Not a std::string: that one would fill with zeros what is written over at once.
    std::unique_ptr<char[]> m_text;
    std::size_t m_size = 0;
    std::size_t m_capacity = 0;
    std::vector<Level> m_levels;
    EncodeStyle m_style;
    NonFinite m_nonFinite;
};

} // namespace telvora::detail
