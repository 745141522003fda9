#include <Telvora/Base/Encoder.h>

#include <Telvora/Base/NumberText.h>
#include <Telvora/Base/UTF8.h>

#include <algorithm>
#include <bit>
#include <charconv>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <utility>

namespace telvora::detail {

namespace {

constexpr std::uint64_t everyByte(std::uint8_t byte)
{
    return 0x0101010101010101u * byte;
}

// Sets the high bit of each byte that a JSON string cannot contain as it is: below 0x20, a quote, a
// backslash, or not ASCII. Bytes above the first one that is marked may be marked wrongly.
constexpr std::uint64_t specialBytes(std::uint64_t word)
{
    const std::uint64_t quote = word ^ everyByte('"');
    const std::uint64_t backslash = word ^ everyByte('\\');
    return (((word - everyByte(0x20)) & ~word) | ((quote - everyByte(1)) & ~quote)
               | ((backslash - everyByte(1)) & ~backslash) | word)
        & everyByte(0x80);
}

static_assert(std::endian::native == std::endian::little, "the first byte is the lowest one");

constexpr bool isSpecial(unsigned char byte)
{
    return byte < 0x20 || byte == '"' || byte == '\\' || byte >= 0x80;
}

// Copies bytes from the front of `text` to `out`, up to the first special one, and returns how many
// it copied. `out` has room for eight bytes more than `text` holds.
std::size_t copyPlain(char* out, std::string_view text)
{
    std::size_t index = 0;
    for (; index + sizeof(std::uint64_t) <= text.size(); index += sizeof(std::uint64_t)) {
        std::uint64_t word = 0;
        std::memcpy(&word, text.data() + index, sizeof word);
        std::memcpy(out + index, &word, sizeof word);
        if (const std::uint64_t special = specialBytes(word))
            return index + static_cast<std::size_t>(std::countr_zero(special)) / 8;
    }
    for (; index < text.size(); ++index) {
        if (isSpecial(static_cast<unsigned char>(text[index])))
            break;
        out[index] = text[index];
    }
    return index;
}

// What clear() keeps for the next text.
constexpr std::size_t mostKeptBytes = std::size_t { 64 } * 1024;
constexpr std::size_t mostKeptLevels = 64;

constexpr std::size_t usualLevels = 8;

} // namespace

Encoder::Encoder(EncodeStyle style, NonFinite nonFinite)
    : m_style(style)
    , m_nonFinite(nonFinite)
{
}

void Encoder::clear()
{
    m_size = 0;
    m_depth = 0;
    m_hasRepaired = false;
    m_levels.clear();
    if (m_capacity > mostKeptBytes) {
        m_text.reset();
        m_capacity = 0;
    }
    if (m_levels.capacity() > mostKeptLevels)
        m_levels.shrink_to_fit();
}

bool Encoder::write(const Value& value)
{
    return writeValue(value) && finish();
}

bool Encoder::write(const Dictionary& dictionary)
{
    open(dictionary);
    return finish();
}

bool Encoder::write(const Array& array)
{
    open(array);
    return finish();
}

bool Encoder::write(std::nullptr_t)
{
    append("null");
    return true;
}

bool Encoder::write(std::int64_t number)
{
    writeWhole(number);
    return true;
}

bool Encoder::write(std::uint64_t number)
{
    writeWhole(number);
    return true;
}

bool Encoder::write(double number)
{
    if (!std::isfinite(number) && m_nonFinite != NonFinite::print)
        return m_nonFinite == NonFinite::asNull && write(nullptr);
    char* start = room(longestNumberText);
    m_size += writeNumberText(start, number);
    return true;
}

bool Encoder::write(std::string_view text)
{
    writeString(text);
    return true;
}

template<typename Number> void Encoder::writeWhole(Number number)
{
    constexpr std::size_t longest = 20;
    char* start = room(longest);
    m_size += static_cast<std::size_t>(std::to_chars(start, start + longest, number).ptr - start);
}

void Encoder::openObject()
{
    append('{');
}

void Encoder::writeKey(std::string_view key)
{
    // Only an object that has no member yet ends with a bracket that opens.
    if (m_text[m_size - 1] != '{')
        append(',');
    writeString(key);
    append(':');
}

void Encoder::closeObject()
{
    append('}');
}

bool Encoder::writeMerged(const Dictionary& under, const Dictionary& over)
{
    const auto writeMember = [&](const auto& member) {
        writeKey(member.key());
        return write(member.value());
    };

    openObject();
    for (const auto& member : under) {
        if (!over.contains(member.key()) && !writeMember(member))
            return false;
    }
    for (const auto& member : over) {
        if (!writeMember(member))
            return false;
    }
    closeObject();
    return true;
}

std::optional<std::size_t> Encoder::writeAroundList(
    const Dictionary& dictionary, std::string_view key)
{
    std::optional<std::size_t> behindBracket;
    const auto writeList = [&] {
        writeKey(key);
        append("[]");
        behindBracket = m_size - 1;
    };

    openObject();
    for (const auto& member : dictionary) {
        if (member.key() == key) {
            writeList();
            continue;
        }
        writeKey(member.key());
        if (!write(member.value()))
            return std::nullopt;
    }
    if (!behindBracket)
        writeList();
    closeObject();
    return behindBracket;
}

// Writes the rest of the open containers, innermost first.
bool Encoder::finish()
{
    while (!m_levels.empty()) {
        Level& level = m_levels.back();
        const bool isObject = level.memberEnd != nullptr;
        const bool isDone
            = isObject ? level.member == level.memberEnd : level.element == level.elementEnd;
        if (isDone) {
            m_levels.pop_back();
            startLine();
            append(isObject ? '}' : ']');
            continue;
        }

        if (!level.isFirst)
            append(',');
        level.isFirst = false;
        startLine();
        const Value* value = nullptr;
        if (isObject) {
            writeString(level.member->key());
            append(m_style == EncodeStyle::pretty ? std::string_view(" : ") : ":");
            value = &level.member->value();
            ++level.member;
        } else {
            value = level.element++;
        }
        // May open a level, after which the reference `level` is no longer valid.
        if (!writeValue(*value))
            return false;
    }
    return true;
}

bool Encoder::writeValue(const Value& value)
{
    switch (value.kind()) {
    case boost::json::kind::null:
        return write(nullptr);
    case boost::json::kind::bool_:
        return write(value.get_bool());
    case boost::json::kind::int64:
        return write(value.get_int64());
    case boost::json::kind::uint64:
        return write(value.get_uint64());
    case boost::json::kind::double_:
        return write(value.get_double());
    case boost::json::kind::string:
        return write(std::string_view(value.get_string()));
    case boost::json::kind::array:
        open(value.get_array());
        return true;
    case boost::json::kind::object:
        open(value.get_object());
        return true;
    }
    return false;
}

void Encoder::open(const Dictionary& dictionary)
{
    if (dictionary.empty()) {
        append("{}");
        return;
    }
    append('{');
    push({ .member = dictionary.begin(), .memberEnd = dictionary.end() });
}

void Encoder::open(const Array& array)
{
    if (array.empty()) {
        append("[]");
        return;
    }
    append('[');
    push({ .element = array.begin(), .elementEnd = array.end() });
}

void Encoder::push(const Level& level)
{
    if (m_levels.capacity() == 0)
        m_levels.reserve(usualLevels);
    m_levels.push_back(level);
    m_depth = std::max(m_depth, m_levels.size());
}

void Encoder::startLine()
{
    if (m_style == EncodeStyle::compact)
        return;
    const std::size_t length = 1 + 2 * m_levels.size();
    char* start = room(length);
    std::memset(start, ' ', length);
    *start = '\n';
    m_size += length;
}

void Encoder::writeString(std::string_view text)
{
    *room(1) = '"';
    ++m_size;
    while (true) {
        const std::size_t plain = copyPlain(room(text.size() + 9), text);
        m_size += plain;
        text.remove_prefix(plain);
        if (text.empty())
            break;

        const auto first = static_cast<unsigned char>(text.front());
        if (first < 0x80) {
            escape(first);
            text.remove_prefix(1);
            continue;
        }
        writeSequence(text);
    }
    append('"');
}

void Encoder::writeRepaired(std::string_view text)
{
    while (!text.empty())
        writeSequence(text);
}

// Writes the first sequence of `text`, or its replacement, and removes it from `text`.
void Encoder::writeSequence(std::string_view& text)
{
    const UTF8Sequence sequence = firstUTF8Sequence(text);
    if (!sequence.isValid)
        m_hasRepaired = true;
    append(sequence.isValid ? text.substr(0, sequence.length) : replacementCharacter);
    text.remove_prefix(sequence.length);
}

void Encoder::escape(unsigned char character)
{
    switch (character) {
    case '"':
        return append("\\\"");
    case '\\':
        return append("\\\\");
    case '\b':
        return append("\\b");
    case '\f':
        return append("\\f");
    case '\n':
        return append("\\n");
    case '\r':
        return append("\\r");
    case '\t':
        return append("\\t");
    default:
        static constexpr std::string_view digits = "0123456789abcdef";
        append("\\u00");
        append(digits[character >> 4]);
        append(digits[character & 0xF]);
    }
}

// Doubling keeps the cost of growing proportional to the text.
char* Encoder::grow(std::size_t bytes)
{
    const std::size_t capacity = std::max<std::size_t>(1024, 2 * m_capacity + bytes);
    auto larger = std::make_unique_for_overwrite<char[]>(capacity);
    if (m_size > 0)
        std::memcpy(larger.get(), m_text.get(), m_size);
    m_text = std::move(larger);
    m_capacity = capacity;
    return m_text.get() + m_size;
}

void Encoder::append(char character)
{
    *room(1) = character;
    ++m_size;
}

void Encoder::append(std::string_view text)
{
    if (text.empty())
        return;
    std::memcpy(room(text.size()), text.data(), text.size());
    m_size += text.size();
}

} // namespace telvora::detail
