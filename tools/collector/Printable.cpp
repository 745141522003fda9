#include <tools/collector/Printable.h>

#include <tools/collector/UTF8.h>

#include <array>

namespace telvora::collector {
namespace {

using namespace std::string_view_literals;

bool isControl(std::string_view character)
{
    const auto byte = [&](std::size_t i) { return static_cast<unsigned char>(character[i]); };
    if (character.size() == 1)
        return byte(0) < 0x20 || byte(0) == 0x7F;
    // U+0080 to U+009F.
    if (character.size() == 2)
        return byte(0) == 0xC2 && byte(1) < 0xA0;
    return false;
}

// Separators of lines and paragraphs, and marks that change the direction of writing.
bool isLayout(std::string_view character)
{
    constexpr std::array marks { "\u061C"sv, "\u200E"sv, "\u200F"sv, "\u2028"sv, "\u2029"sv,
        "\u202A"sv, "\u202B"sv, "\u202C"sv, "\u202D"sv, "\u202E"sv, "\u2066"sv, "\u2067"sv,
        "\u2068"sv, "\u2069"sv };
    for (const std::string_view mark : marks) {
        if (character == mark)
            return true;
    }
    return false;
}

void appendEscaped(std::string& text, std::string_view bytes)
{
    constexpr char digits[] = "0123456789abcdef";
    for (const char c : bytes) {
        const auto byte = static_cast<unsigned char>(c);
        text.append("\\x").push_back(digits[byte >> 4U]);
        text.push_back(digits[byte & 0xFU]);
    }
}

} // namespace

std::string printable(std::string_view text, std::size_t longest)
{
    std::string shown;
    for (std::size_t at = 0; at < text.size();) {
        const std::size_t length = utf8SequenceLength(text, at);
        const std::string_view character = text.substr(at, length == 0 ? 1 : length);
        at += character.size();
        if (at > longest)
            return shown + "...";
        if (length == 0 || isControl(character) || isLayout(character))
            appendEscaped(shown, character);
        else
            shown += character;
    }
    return shown;
}

} // namespace telvora::collector
