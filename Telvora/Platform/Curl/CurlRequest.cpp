#include <Telvora/Platform/Curl/CurlRequest.h>

#include <Telvora/Base/ASCII.h>
#include <Telvora/Base/HeaderField.h>

#include <algorithm>
#include <new>
#include <string_view>

namespace telvora::detail {

namespace {

using Address = std::unique_ptr<CURLU, decltype(&curl_url_cleanup)>;

std::string part(const Address& address, CURLUPart which, unsigned flags = 0)
{
    char* text = nullptr;
    if (curl_url_get(address.get(), which, &text, flags) != CURLUE_OK || !text)
        return {};
    const std::unique_ptr<char, decltype(&curl_free)> owner(text, &curl_free);
    return text;
}

CurlOrigin originWithError(std::string reason)
{
    return { .error = std::move(reason) };
}

bool hasHeader(const HTTPRequest& request, const char* name)
{
    return std::ranges::any_of(
        request.headers, [&](const auto& header) { return isSameFieldName(header.first, name); });
}

// A server that redirects from http to https on the default ports is the same server.
bool isSameServer(const CurlOrigin& from, const CurlOrigin& to)
{
    const bool isUpgrade
        = from.scheme == "http" && from.port == "80" && to.scheme == "https" && to.port == "443";
    return from.host == to.host && (from.port == to.port || isUpgrade);
}

bool isForHostOnly(const std::string& name, const HTTPRequest& request)
{
    const auto isName = [&](const std::string& other) { return isSameFieldName(name, other); };
    return isName("Authorization") || isName("Cookie") || isName("Host")
        || std::ranges::any_of(request.hostOnlyHeaders, isName);
}

// `target`, with the user and the password of `url` if it has none itself.
std::string withCredentialsOf(const std::string& url, const std::string& target)
{
    const Address from(curl_url(), &curl_url_cleanup);
    const Address to(curl_url(), &curl_url_cleanup);
    curl_url_set(from.get(), CURLUPART_URL, url.c_str(), 0);
    curl_url_set(to.get(), CURLUPART_URL, target.c_str(), 0);
    if (!part(to, CURLUPART_USER).empty() || part(from, CURLUPART_USER).empty())
        return target;
    for (CURLUPart which : { CURLUPART_USER, CURLUPART_PASSWORD })
        curl_url_set(to.get(), which, part(from, which).c_str(), 0);
    return part(to, CURLUPART_URL);
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

void CurlJob::fail(std::string_view reason) noexcept
{
    answer.data.reset();
    try {
        answer.error = reason;
    } catch (const std::exception&) {
        answer.error = outOfMemory;
    }
}

CurlOrigin originOf(const std::string& url)
{
    if (url.find('\0') != std::string::npos)
        return originWithError("Bad address: NUL in it");
    Address address(curl_url(), &curl_url_cleanup);
    if (!address)
        return originWithError(outOfMemory);
    CURLUcode code
        = curl_url_set(address.get(), CURLUPART_URL, url.c_str(), CURLU_NON_SUPPORT_SCHEME);
    if (code != CURLUE_OK)
        return originWithError(std::string("Bad address: ") + curl_url_strerror(code));
    CurlOrigin origin { part(address, CURLUPART_SCHEME), lowered(part(address, CURLUPART_HOST)),
        part(address, CURLUPART_PORT, CURLU_DEFAULT_PORT) };
    if (origin.scheme != "http" && origin.scheme != "https")
        return originWithError("Unsupported scheme: " + origin.scheme);
    return origin;
}

std::optional<std::string> problemWith(const HTTPRequest& request)
{
    if (!isFieldName(request.method))
        return "Bad method";
    for (const auto& [name, value] : request.headers) {
        if (!isFieldName(name))
            return "Bad header name";
        if (!isFieldValue(value))
            return "Line break or NUL in the value of header " + name;
    }
    return {};
}

std::optional<std::string> redirect(HTTPRequest& request, const std::string& target)
{
    const CurlOrigin from = originOf(request.url);
    const CurlOrigin to = originOf(target);
    if (to.error)
        return to.error;
    if (from.scheme == "https" && to.scheme == "http")
        return "Redirect from https to http";
    if (isSameServer(from, to)) {
        request.url = withCredentialsOf(request.url, target);
    } else {
        std::erase_if(request.headers,
            [&](const auto& header) { return isForHostOnly(header.first, request); });
        request.url = target;
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
        if (isSameFieldName(name, "Content-Length") || isSameFieldName(name, "Transfer-Encoding"))
            continue;
        // For libcurl "Name:" leaves the header out and "Name;" sends it empty.
        append(headers, trimmedFieldValue(value).empty() ? name + ";" : name + ": " + value);
    }
    // Otherwise libcurl would declare the body a form, and wait for "100 Continue" before a long
    // one.
    if (!hasHeader(request, "Content-Type"))
        append(headers, "Content-Type:");
    if (!hasHeader(request, "Expect"))
        append(headers, "Expect:");
    return headers;
}

} // namespace telvora::detail
