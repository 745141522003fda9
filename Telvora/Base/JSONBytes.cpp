#include <Telvora/Base/JSONBytes.h>

#include <boost/nowide/utf/utf.hpp>

#include <iterator>
#include <optional>
#include <string>

namespace telvora::detail {

namespace {

struct Encoding {
    std::size_t unitBytes = 1;
    bool isBigEndian = false;
    std::size_t markBytes = 0;
};

std::optional<Encoding> encodingByMark(std::string_view bytes)
{
    using namespace std::string_view_literals;
    if (bytes.starts_with("\xEF\xBB\xBF"sv))
        return Encoding { 1, false, 3 };
    // Tested before UTF-16: this mark begins with that of UTF-16.
    if (bytes.starts_with("\xFF\xFE\0\0"sv))
        return Encoding { 4, false, 4 };
    if (bytes.starts_with("\0\0\xFE\xFF"sv))
        return Encoding { 4, true, 4 };
    if (bytes.starts_with("\xFF\xFE"sv))
        return Encoding { 2, false, 2 };
    if (bytes.starts_with("\xFE\xFF"sv))
        return Encoding { 2, true, 2 };
    return std::nullopt;
}

// JSON text either begins with two ASCII characters or consists of one.
Encoding encodingByZeros(std::string_view bytes)
{
    std::string pattern;
    for (const char byte : bytes.substr(0, 4))
        pattern += byte == 0 ? '0' : 'x';
    if (pattern == "x000")
        return { 4, false };
    if (pattern == "000x")
        return { 4, true };
    if (pattern == "x0x0" || pattern == "x0")
        return { 2, false };
    if (pattern == "0x0x" || pattern == "0x")
        return { 2, true };
    return {};
}

// Absent when the bytes are not well-formed.
template<typename Unit> std::optional<std::string> inUTF8(std::string_view bytes, bool isBigEndian)
{
    if (bytes.size() % sizeof(Unit) != 0)
        return std::nullopt;
    std::basic_string<Unit> units(bytes.size() / sizeof(Unit), 0);
    for (std::size_t index = 0; index < bytes.size(); ++index) {
        const std::size_t place = index % sizeof(Unit);
        const std::size_t shift = 8 * (isBigEndian ? sizeof(Unit) - 1 - place : place);
        const auto byte = static_cast<unsigned char>(bytes[index]);
        units[index / sizeof(Unit)] |= static_cast<Unit>(char32_t(byte) << shift);
    }

    namespace utf = boost::nowide::utf;
    std::string text;
    for (auto unit = units.cbegin(); unit != units.cend();) {
        const utf::code_point character = utf::utf_traits<Unit>::decode(unit, units.cend());
        if (character == utf::illegal || character == utf::incomplete)
            return std::nullopt;
        utf::utf_traits<char>::encode(character, std::back_inserter(text));
    }
    return text;
}

} // namespace

Decoded decodeBytes(std::string_view bytes, std::size_t levels)
{
    const auto byMark = encodingByMark(bytes);
    const Encoding encoding = byMark ? *byMark : encodingByZeros(bytes);
    const std::string_view marked = bytes.substr(encoding.markBytes);
    if (encoding.unitBytes == 1)
        return decode(marked, levels);

    const auto text = encoding.unitBytes == 2 ? inUTF8<char16_t>(marked, encoding.isBigEndian)
                                              : inUTF8<char32_t>(marked, encoding.isBigEndian);
    if (!text)
        return { std::nullopt, encoding.unitBytes == 2 ? "invalid UTF-16" : "invalid UTF-32" };
    return decode(*text, levels);
}

} // namespace telvora::detail
