#include <Telvora/Platform/Linux/CurlRequest.h>

#include <strings.h>

#include <algorithm>
#include <new>
#include <string_view>

namespace telvora {

namespace {

using Address = std::unique_ptr<CURLU, decltype(&curl_url_cleanup)>;

std::string part(const Address& address, CURLUPart which)
{
    char* text = nullptr;
    if (curl_url_get(address.get(), which, &text, CURLU_DEFAULT_PORT) != CURLUE_OK || !text)
        return {};
    std::string copy = text;
    curl_free(text);
    return copy;
}

CurlOrigin unreachable(std::string reason)
{
    return { {}, false, std::move(reason) };
}

/// A token of HTTP, with the bytes of other alphabets let through. Anything else could be read
/// by a server as the end of the name, or by libcurl as an instruction.
bool isToken(std::string_view text)
{
    constexpr std::string_view marks = "!#$%&'*+-.^_`|~";
    return !text.empty() && std::all_of(text.begin(), text.end(), [&](char character) {
        auto byte = static_cast<unsigned char>(character);
        return (byte >= '0' && byte <= '9') || (byte >= 'A' && byte <= 'Z')
            || (byte >= 'a' && byte <= 'z') || byte >= 0x80
            || marks.find(character) != std::string_view::npos;
    });
}

bool isBlank(std::string_view text)
{
    return text.find_first_not_of(" \t\v\f") == std::string_view::npos;
}

bool isNamed(const std::string& name, const char* wanted)
{
    return strcasecmp(name.c_str(), wanted) == 0;
}

bool hasHeader(const HTTPRequest& request, const char* name)
{
    return std::any_of(request.headers.begin(), request.headers.end(),
        [&](const auto& header) { return isNamed(header.first, name); });
}

void append(CurlHeaders& headers, const std::string& line)
{
    curl_slist* longer = curl_slist_append(headers.get(), line.c_str());
    if (!longer)
        throw std::bad_alloc();
    static_cast<void>(headers.release());
    headers.reset(longer);
}

} // namespace

CurlOrigin originOf(const std::string& url)
{
    if (url.find('\0') != std::string::npos)
        return unreachable("Bad address: NUL in it");
    Address address(curl_url(), &curl_url_cleanup);
    if (!address)
        return unreachable("Out of memory");
    CURLUcode code
        = curl_url_set(address.get(), CURLUPART_URL, url.c_str(), CURLU_NON_SUPPORT_SCHEME);
    if (code != CURLUE_OK)
        return unreachable(std::string("Bad address: ") + curl_url_strerror(code));
    std::string scheme = part(address, CURLUPART_SCHEME);
    if (scheme != "http" && scheme != "https")
        return unreachable("Unsupported scheme: " + scheme);
    std::string host = part(address, CURLUPART_HOST);
    return { scheme + "://" + host + ":" + part(address, CURLUPART_PORT), scheme == "https", {} };
}

std::optional<std::string> refusalOf(const HTTPRequest& request)
{
    if (!isToken(request.method))
        return "Bad method";
    for (const auto& [name, value] : request.headers) {
        if (!isToken(name))
            return "Bad header name";
        if (value.find_first_of(std::string_view("\r\n\0", 3)) != std::string::npos)
            return "Line break in the value of header " + name;
    }
    return {};
}

bool carriesBody(const HTTPRequest& request)
{
    return !request.body.empty() || request.method == "POST" || request.method == "PUT"
        || request.method == "PATCH";
}

CurlHeaders headersOf(const HTTPRequest& request)
{
    CurlHeaders headers;
    for (const auto& [name, value] : request.headers) {
        if (isNamed(name, "Content-Length") || isNamed(name, "Transfer-Encoding"))
            continue;
        // To libcurl "Name:" means to leave the header out and "Name;" to send it empty.
        append(headers, isBlank(value) ? name + ";" : name + ": " + value);
    }
    // libcurl would call the body a form, and would wait for leave to send a long one.
    if (!hasHeader(request, "Content-Type"))
        append(headers, "Content-Type:");
    if (!hasHeader(request, "Expect"))
        append(headers, "Expect:");
    return headers;
}

} // namespace telvora
