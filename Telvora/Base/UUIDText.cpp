#include <Telvora/Base/UUIDText.h>

#include <string_view>

namespace telvora {

std::string uuidText(const UUIDBytes& bytes)
{
    static constexpr std::string_view digits = "0123456789ABCDEF";

    std::string text;
    text.reserve(36);
    for (std::size_t index = 0; index < bytes.size(); ++index) {
        if (index == 4 || index == 6 || index == 8 || index == 10)
            text += '-';
        text += digits[bytes[index] >> 4];
        text += digits[bytes[index] & 0xF];
    }
    return text;
}

UUIDBytes asRandomUUID(UUIDBytes bytes)
{
    bytes[6] = static_cast<std::uint8_t>((bytes[6] & 0x0F) | 0x40);
    bytes[8] = static_cast<std::uint8_t>((bytes[8] & 0x3F) | 0x80);
    return bytes;
}

} // namespace telvora
