#include <Telvora/Base/NumberText.h>

#include <charconv>
#include <cmath>
#include <string_view>

namespace telvora {

void appendNumberText(std::string& out, double number)
{
    // 17 digits, sign, point and exponent fit; 1e16 and above are shorter with an exponent.
    char digits[64];
    const auto [end, error] = std::to_chars(digits, digits + sizeof digits, number);
    const std::string_view text(digits, static_cast<std::size_t>(end - digits));
    out += text;
    if (std::isfinite(number) && text.find_first_of(".e") == std::string_view::npos)
        out += ".0";
}

std::string numberText(double number)
{
    std::string text;
    appendNumberText(text, number);
    return text;
}

} // namespace telvora
