#include <tools/collector/JSONText.h>

#include <tools/collector/UTF8.h>

#include <string>

namespace telvora::collector {

boost::json::value asJSON(std::string_view text)
{
    if (isUTF8(text))
        return boost::json::string(boost::json::string_view(text.data(), text.size()));

    constexpr char digits[] = "0123456789abcdef";
    boost::json::string hex;
    hex.reserve(text.size() * 2);
    for (const char c : text) {
        hex.push_back(digits[static_cast<unsigned char>(c) >> 4U]);
        hex.push_back(digits[static_cast<unsigned char>(c) & 0xFU]);
    }
    return boost::json::object { { "$bytes", std::move(hex) } };
}

} // namespace telvora::collector
