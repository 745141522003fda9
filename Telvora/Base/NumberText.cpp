#include <Telvora/Base/NumberText.h>

#include <charconv>
#include <cmath>
#include <cstring>
#include <string_view>

namespace telvora::detail {

namespace {

// Sizes that are written without an exponent. Below the upper bound, 17 digits are enough.
bool isOrdinary(double number)
{
    const double size = std::fabs(number);
    return number == 0 || (size >= 1e-4 && size < 1e16);
}

} // namespace

std::size_t writeNumberText(char* out, double number)
{
    // Fixed: at most sign, "0.000" and 17 digits. The other form uses no exponent only where that
    // makes the text no longer.
    char* limit = out + longestNumberText;
    char* end = isOrdinary(number) ? std::to_chars(out, limit, number, std::chars_format::fixed).ptr
                                   : std::to_chars(out, limit, number).ptr;
    auto length = static_cast<std::size_t>(end - out);
    const bool looksWhole
        = std::string_view(out, length).find_first_of(".e") == std::string_view::npos;
    if (looksWhole && std::isfinite(number)) {
        std::memcpy(out + length, ".0", 2);
        length += 2;
    }
    return length;
}

std::string numberText(double number)
{
    char text[longestNumberText];
    return std::string(text, writeNumberText(text, number));
}

std::string decimalText(double number)
{
    // The longest text: sign, "0.", 323 zeros, 17 digits.
    char text[400];
    const auto [end, error]
        = std::to_chars(text, text + sizeof text, number, std::chars_format::fixed);
    std::string result(text, end);
    if (std::isfinite(number) && result.find('.') == std::string::npos)
        result += ".0";
    return result;
}

} // namespace telvora::detail
