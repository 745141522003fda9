#include <Telvora/Base/UTF8.h>

#include <algorithm>

namespace telvora::detail {

namespace {

struct FirstByte {
    std::size_t length;
    unsigned char secondLowest;
    unsigned char secondHighest;
};

// Unicode 15, table 3-7: which second bytes may follow a first one. Length 0: no character begins
// with this byte.
FirstByte firstByte(unsigned char byte)
{
    if (byte < 0x80)
        return { 1, 0, 0 };
    if (byte < 0xC2)
        return { 0, 0, 0 };
    if (byte < 0xE0)
        return { 2, 0x80, 0xBF };
    if (byte == 0xE0)
        return { 3, 0xA0, 0xBF };
    if (byte == 0xED)
        return { 3, 0x80, 0x9F };
    if (byte < 0xF0)
        return { 3, 0x80, 0xBF };
    if (byte == 0xF0)
        return { 4, 0x90, 0xBF };
    if (byte < 0xF4)
        return { 4, 0x80, 0xBF };
    if (byte == 0xF4)
        return { 4, 0x80, 0x8F };
    return { 0, 0, 0 };
}

} // namespace

UTF8Sequence firstUTF8Sequence(std::string_view text)
{
    const FirstByte expected = firstByte(static_cast<unsigned char>(text[0]));
    if (expected.length == 0)
        return { 1, false };

    const std::size_t available = std::min(expected.length, text.size());
    for (std::size_t index = 1; index < available; ++index) {
        const auto byte = static_cast<unsigned char>(text[index]);
        const unsigned char lowest = index == 1 ? expected.secondLowest : 0x80;
        const unsigned char highest = index == 1 ? expected.secondHighest : 0xBF;
        if (byte < lowest || byte > highest)
            return { index, false };
    }
    return { available, available == expected.length };
}

} // namespace telvora::detail
