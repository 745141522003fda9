#include <Telvora/Base/AddressText.h>

#include <Telvora/Base/ASCII.h>

#include <algorithm>
#include <charconv>
#include <cstdint>
#include <string>

namespace telvora::detail {

namespace {

constexpr std::size_t longestAddress = 8'000'000;
constexpr std::size_t longestScheme = 40;

int hexValue(char character)
{
    if (isDigit(character))
        return character - '0';
    if (character >= 'a' && character <= 'f')
        return character - 'a' + 10;
    if (character >= 'A' && character <= 'F')
        return character - 'A' + 10;
    return -1;
}

bool isControl(char character)
{
    const auto byte = static_cast<unsigned char>(character);
    return byte < 0x20 || byte == 0x7f;
}

// The scheme before a colon and a slash, or "": without the slash it may be a host and a port.
std::string_view schemeOf(std::string_view text)
{
    std::size_t end = 0;
    while (end < std::min(text.size(), longestScheme)
        && (isLetter(text[end]) || isDigit(text[end])
            || std::string_view("+-.").find(text[end]) != std::string_view::npos))
        ++end;
    return text.substr(end).starts_with(":/") ? text.substr(0, end) : std::string_view();
}

// Whether `rest`, which follows "file:", names a file of this machine. Other machines are refused.
bool isFileLocation(std::string_view rest)
{
    if (!rest.starts_with("//"))
        return true;
    rest.remove_prefix(2);
    return rest.starts_with('/') || rest.starts_with("localhost/")
        || rest.starts_with("127.0.0.1/");
}

// Four numbers between dots, each 0 to 255 in one to three digits without a leading zero.
bool isIPv4(std::string_view text)
{
    int parts = 0;
    while (true) {
        const std::string_view part = text.substr(0, text.find('.'));
        if (part.empty() || part.size() > 3 || !std::ranges::all_of(part, isDigit)
            || (part.size() > 1 && part.front() == '0') || (part.size() == 3 && part > "255"))
            return false;
        ++parts;
        if (part.size() == text.size())
            return parts == 4;
        text.remove_prefix(part.size() + 1);
    }
}

// Eight groups of one to four hexadecimal digits. The last two may be written as an IPv4 address,
// and one run of groups may be left out as "::" (RFC 4291, section 2.2).
bool isIPv6(std::string_view text)
{
    int groups = 0;
    bool isShortened = false;
    if (text.starts_with(':') && !text.starts_with("::"))
        return false;
    if (text.starts_with(':'))
        text.remove_prefix(1);
    while (!text.empty()) {
        if (text.front() == ':') {
            if (isShortened)
                return false;
            isShortened = true;
            text.remove_prefix(1);
            continue;
        }
        const std::string_view group = text.substr(0, text.find(':'));
        if (group.size() == text.size() && group.find('.') != std::string_view::npos)
            return isIPv4(group) && (isShortened ? groups + 2 < 8 : groups + 2 == 8);
        if (group.size() > 4
            || !std::ranges::all_of(group, [](char c) { return hexValue(c) >= 0; }))
            return false;
        ++groups;
        if (group.size() == text.size())
            break;
        text.remove_prefix(group.size() + 1);
        if (text.empty())
            return false;
    }
    return isShortened ? groups < 8 : groups == 8;
}

// "[", an IPv6 address, "]". "%25" or "%" and a zone may follow the address: the name of a network
// interface, at most 15 bytes long.
bool isBracketedHost(std::string_view host)
{
    constexpr std::size_t longestZone = 15;
    if (host.size() < 4 || !host.ends_with(']'))
        return false;
    host = host.substr(1, host.size() - 2);
    const std::string_view address = host.substr(0, host.find('%'));
    std::string_view zone = host.substr(address.size());
    if (zone.starts_with("%25") && zone.size() > 3)
        zone.remove_prefix(2);
    return isIPv6(address) && zone.size() != 1 && zone.size() <= 1 + longestZone;
}

// The host with each "%XX" decoded.
std::string withoutEscapes(std::string_view host)
{
    std::string plain;
    while (!host.empty()) {
        if (host.size() > 2 && host[0] == '%' && hexValue(host[1]) >= 0 && hexValue(host[2]) >= 0) {
            plain += static_cast<char>(hexValue(host[1]) * 16 + hexValue(host[2]));
            host.remove_prefix(3);
        } else {
            plain += host.front();
            host.remove_prefix(1);
        }
    }
    return plain;
}

bool isHostName(std::string_view host)
{
    const std::string plain = withoutEscapes(host);
    return std::ranges::all_of(plain, [](char c) { return !isControl(c); })
        && plain.find_first_of(" /:#?!@{}[]\\$'\"^*<>=;,+&()`") == std::string::npos;
}

bool isPort(std::string_view text)
{
    std::uint16_t port = 0;
    return std::ranges::all_of(text, isDigit)
        && std::from_chars(text.data(), text.data() + text.size(), port).ec == std::errc();
}

// The part between the slashes and the path: user, host and port.
bool isAuthority(std::string_view text, bool hasScheme)
{
    if (const std::size_t at = text.find('@'); at != std::string_view::npos)
        text.remove_prefix(at + 1);
    const bool isBracketed = text.starts_with('[');
    const std::size_t hostEnd
        = isBracketed ? text.find(']') + 1 : std::min(text.find(':'), text.size());
    if (isBracketed && hostEnd == 0)
        return false;
    const std::string_view host = text.substr(0, hostEnd);
    const std::string_view rest = text.substr(hostEnd);
    if (!rest.empty()
        && (rest.front() != ':' || (rest.size() == 1 ? !hasScheme : !isPort(rest.substr(1)))))
        return false;
    if (host.empty())
        return false;
    return isBracketed ? isBracketedHost(host) : isHostName(host);
}

} // namespace

bool isAddressText(std::string_view text)
{
    if (text.empty() || text.size() > longestAddress
        || !std::ranges::all_of(text, [](char c) { return c != ' ' && !isControl(c); }))
        return false;

    const std::string_view scheme = schemeOf(text);
    if (!scheme.empty())
        text.remove_prefix(scheme.size() + 1);
    if (equalsIgnoringCase(scheme, "file"))
        return isFileLocation(text);

    const std::size_t slashes = std::min(text.find_first_not_of('/'), text.size());
    if (!scheme.empty() && slashes > 3)
        return false;
    if (!scheme.empty())
        text.remove_prefix(slashes);
    const std::string_view authority = text.substr(0, text.find_first_of("/?#"));
    return authority.empty() || isAuthority(authority, !scheme.empty());
}

std::string withoutUserInfo(std::string_view text)
{
    std::string shown(text);
    const std::string_view scheme = schemeOf(text);
    if (equalsIgnoringCase(scheme, "file"))
        return shown;

    std::size_t begin = scheme.empty() ? 0 : scheme.size() + 1;
    if (!scheme.empty() || text.starts_with("//"))
        begin = std::min(text.find_first_not_of('/', begin), text.size());
    std::string_view authority = text.substr(begin);
    if (isAddressText(text))
        authority = authority.substr(0, authority.find_first_of("/?#"));
    if (const std::size_t at = authority.rfind('@'); at != std::string_view::npos)
        shown.replace(begin, at, "\u2026");
    return shown;
}

std::string badAddressText(std::string_view text)
{
    return "The address of a channel cannot be parsed: `" + withoutUserInfo(text) + "`";
}

} // namespace telvora::detail
