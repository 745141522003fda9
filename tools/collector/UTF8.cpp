#include <tools/collector/UTF8.h>

namespace telvora::collector {

std::size_t utf8SequenceLength(std::string_view text, std::size_t at)
{
    const auto byte = [&](std::size_t i) {
        return at + i < text.size() ? static_cast<unsigned char>(text[at + i]) : 0U;
    };
    const auto isTail = [&](std::size_t i) { return (byte(i) & 0xC0U) == 0x80U; };
    const unsigned first = byte(0);

    if (first < 0x80)
        return 1;
    if (first >= 0xC2 && first <= 0xDF)
        return isTail(1) ? 2 : 0;
    if ((first & 0xF0U) == 0xE0U) {
        const bool isShortest = first != 0xE0 || byte(1) >= 0xA0;
        const bool isSurrogate = first == 0xED && byte(1) >= 0xA0;
        return isTail(1) && isTail(2) && isShortest && !isSurrogate ? 3 : 0;
    }
    if (first >= 0xF0 && first <= 0xF4) {
        const bool isInRange
            = (first != 0xF0 || byte(1) >= 0x90) && (first != 0xF4 || byte(1) < 0x90);
        return isTail(1) && isTail(2) && isTail(3) && isInRange ? 4 : 0;
    }
    return 0;
}

bool isUTF8(std::string_view text)
{
    for (std::size_t at = 0; at < text.size();) {
        const std::size_t length = utf8SequenceLength(text, at);
        if (length == 0)
            return false;
        at += length;
    }
    return true;
}

} // namespace telvora::collector
