#include <Telvora/Platform/Linux/CurlTransfer.h>

#include <Telvora/Base/Version.h>

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <string_view>
#include <utility>

namespace telvora {

namespace {

// Longer than any deadline. Those are kept by who starts the transfers.
constexpr long connectSeconds = 2 * 24 * 60 * 60;

constexpr long maximumRedirects = 10;

// Servers close a quiet connection after a minute or so, which is also how often a quiet host
// uploads. A connection that old is not trusted with a request that is sent only once.
constexpr long maximumIdleSeconds = 30;

} // namespace

CurlTransfer::CurlTransfer(const LinuxHTTPOptions& options)
    : m_options(options)
    , m_handle(curl_easy_init())
{
    if (!m_handle) {
        m_optionError = CURLE_OUT_OF_MEMORY;
        return;
    }
    setFixedOptions();
    setTrust();
}

CurlTransfer::~CurlTransfer()
{
    curl_easy_cleanup(m_handle);
}

template<typename Value> void CurlTransfer::set(CURLoption option, Value value)
{
    CURLcode code = curl_easy_setopt(m_handle, option, value);
    if (m_optionError == CURLE_OK)
        m_optionError = code;
}

void CurlTransfer::setFixedOptions()
{
    set(CURLOPT_PRIVATE, static_cast<void*>(this));
    set(CURLOPT_ERRORBUFFER, m_errorText);
    set(CURLOPT_NOSIGNAL, 1L);
    set(CURLOPT_CONNECTTIMEOUT, connectSeconds);
    // A resolver that never answers would otherwise hold the thread back beyond every time-out.
    set(CURLOPT_QUICK_EXIT, 1L);
    set(CURLOPT_USERAGENT, "Telvora/" TELVORA_VERSION_TEXT);

    set(CURLOPT_PROTOCOLS_STR, "http,https");
    set(CURLOPT_REDIR_PROTOCOLS_STR, "http,https");
    set(CURLOPT_FOLLOWLOCATION, 1L);
    set(CURLOPT_MAXREDIRS, maximumRedirects);
    set(CURLOPT_POSTREDIR, static_cast<long>(CURL_REDIR_POST_ALL));
    set(CURLOPT_MAXAGE_CONN, maximumIdleSeconds);

    // Empty rather than unset: libcurl looks into the environment for what is unset.
    set(CURLOPT_PROXY, m_options.proxy.value_or("").c_str());
    set(CURLOPT_NOPROXY, "");
    set(CURLOPT_NETRC, static_cast<long>(CURL_NETRC_IGNORED));
    set(CURLOPT_SUPPRESS_CONNECT_HEADERS, 1L);

    set(CURLOPT_READFUNCTION, &readBody);
    set(CURLOPT_READDATA, static_cast<void*>(this));
    set(CURLOPT_SEEKFUNCTION, &rewindBody);
    set(CURLOPT_SEEKDATA, static_cast<void*>(this));
    set(CURLOPT_WRITEFUNCTION, &takeData);
    set(CURLOPT_WRITEDATA, static_cast<void*>(this));
    set(CURLOPT_HEADERFUNCTION, &takeHeader);
    set(CURLOPT_HEADERDATA, static_cast<void*>(this));
    set(CURLOPT_MAXFILESIZE_LARGE, static_cast<curl_off_t>(m_options.answerLimitBytes));

    // A libcurl without HTTP/2 refuses this one, and serves HTTP/1.1.
    static_cast<void>(curl_easy_setopt(
        m_handle, CURLOPT_HTTP_VERSION, static_cast<long>(CURL_HTTP_VERSION_2TLS)));
}

void CurlTransfer::setTrust()
{
    set(CURLOPT_SSL_VERIFYPEER, 1L);
    set(CURLOPT_SSL_VERIFYHOST, 2L);
    set(CURLOPT_SSLVERSION, static_cast<long>(CURL_SSLVERSION_TLSv1_2));
    if (m_options.authorityFile) {
        set(CURLOPT_CAINFO, m_options.authorityFile->c_str());
        set(CURLOPT_CAPATH, static_cast<const char*>(nullptr));
    }
    if (m_options.certificateFile)
        set(CURLOPT_SSLCERT, m_options.certificateFile->c_str());
    if (m_options.keyFile)
        set(CURLOPT_SSLKEY, m_options.keyFile->c_str());
}

void CurlTransfer::setMethod()
{
    const std::string& method = m_job.request.method;
    bool isWithBody = carriesBody(m_job.request);
    bool isHead = !isWithBody && method == "HEAD";
    if (isWithBody) {
        set(CURLOPT_POST, 1L);
        set(CURLOPT_POSTFIELDSIZE_LARGE, static_cast<curl_off_t>(m_job.request.body.size()));
    } else {
        set(CURLOPT_HTTPGET, 1L);
        set(CURLOPT_NOBODY, isHead ? 1L : 0L);
    }
    bool isUsual = isHead || method == (isWithBody ? "POST" : "GET");
    set(CURLOPT_CUSTOMREQUEST, isUsual ? nullptr : method.c_str());
}

std::optional<std::string> CurlTransfer::begin(CurlJob job, std::string lane)
{
    m_job = std::move(job);
    m_lane = std::move(lane);
    m_data.clear();
    m_bodyBytesRead = 0;
    m_hasAnswerBegun = false;
    m_isHeadWhole = false;
    m_isAnswerTooLong = false;
    m_errorText[0] = '\0';
    if (!m_handle)
        return curl_easy_strerror(m_optionError);

    m_headers = headersOf(m_job.request);
    set(CURLOPT_URL, m_job.request.url.c_str());
    set(CURLOPT_HTTPHEADER, m_headers.get());
    setMethod();
    // Without any one option the request could go where it must not: it stays here.
    if (m_optionError != CURLE_OK)
        return curl_easy_strerror(m_optionError);
    return {};
}

CurlResult CurlTransfer::finish(std::optional<std::string> error)
{
    HTTPAnswer answer;
    long status = 0;
    if (m_handle)
        curl_easy_getinfo(m_handle, CURLINFO_RESPONSE_CODE, &status);
    answer.status = static_cast<int>(status);
    if (error)
        answer.error = std::move(error);
    else
        answer.data = std::move(m_data);
    m_data.clear();
    m_job.request = {};
    return { std::move(m_job.completion), std::move(answer) };
}

std::optional<std::string> CurlTransfer::errorFor(CURLcode code) const
{
    // libcurl is content with an answer that breaks off within its headers.
    if (code == CURLE_OK && !m_isHeadWhole)
        return "Answer broken off";
    if (code == CURLE_OK)
        return {};
    if (m_isAnswerTooLong || code == CURLE_FILESIZE_EXCEEDED)
        return "Answer above " + std::to_string(m_options.answerLimitBytes) + " bytes";
    return m_errorText[0] != '\0' ? m_errorText : curl_easy_strerror(code);
}

std::size_t CurlTransfer::readBody(char* room, std::size_t size, std::size_t count, void* self)
{
    auto& transfer = *static_cast<CurlTransfer*>(self);
    const std::string& body = transfer.m_job.request.body;
    std::size_t length = std::min(size * count, body.size() - transfer.m_bodyBytesRead);
    std::memcpy(room, body.data() + transfer.m_bodyBytesRead, length);
    transfer.m_bodyBytesRead += length;
    return length;
}

std::size_t CurlTransfer::takeData(char* data, std::size_t size, std::size_t count, void* self)
{
    auto& transfer = *static_cast<CurlTransfer*>(self);
    std::size_t length = size * count;
    if (length > transfer.m_options.answerLimitBytes - transfer.m_data.size()) {
        transfer.m_isAnswerTooLong = true;
        return length + 1;
    }
    transfer.m_data.append(data, length);
    return length;
}

std::size_t CurlTransfer::takeHeader(char* data, std::size_t size, std::size_t count, void* self)
{
    auto& transfer = *static_cast<CurlTransfer*>(self);
    std::string_view line(data, size * count);
    transfer.m_hasAnswerBegun = true;
    if (line.substr(0, 5) == "HTTP/")
        transfer.m_isHeadWhole = false;
    else if (line == "\r\n" || line == "\n")
        transfer.m_isHeadWhole = true;
    return size * count;
}

int CurlTransfer::rewindBody(void* self, curl_off_t offset, int origin)
{
    auto& transfer = *static_cast<CurlTransfer*>(self);
    // After an answer libcurl follows a redirect. Without one it is about to repeat a request that
    // a dying connection may have delivered.
    if (origin != SEEK_SET || offset != 0 || !transfer.m_hasAnswerBegun)
        return CURL_SEEKFUNC_FAIL;
    transfer.m_hasAnswerBegun = false;
    transfer.m_bodyBytesRead = 0;
    return CURL_SEEKFUNC_OK;
}

} // namespace telvora
