#include <Telvora/Platform/Linux/CurlRequest.h>

#include <Telvora/Base/HeaderField.h>

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

bool hasHeader(const HTTPRequest& request, const char* name)
{
    return std::any_of(request.headers.begin(), request.headers.end(),
        [&](const auto& header) { return detail::isSameFieldName(header.first, name); });
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
    if (!detail::isFieldName(request.method))
        return "Bad method";
    for (const auto& [name, value] : request.headers) {
        if (!detail::isFieldName(name))
            return "Bad header name";
        if (!detail::isFieldValue(value))
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
        if (detail::isSameFieldName(name, "Content-Length")
            || detail::isSameFieldName(name, "Transfer-Encoding"))
            continue;
        // To libcurl "Name:" means to leave the header out and "Name;" to send it empty.
        append(
            headers, detail::trimmedFieldValue(value).empty() ? name + ";" : name + ": " + value);
    }
    // libcurl would call the body a form, and would wait for leave to send a long one.
    if (!hasHeader(request, "Content-Type"))
        append(headers, "Content-Type:");
    if (!hasHeader(request, "Expect"))
        append(headers, "Expect:");
    return headers;
}

} // namespace telvora
