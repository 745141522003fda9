#include <Telvora/Platform/Curl/CurlTransfer.h>

#include <Telvora/Base/Version.h>
#include <Telvora/Platform/Curl/CurlLibrary.h>
#include <Telvora/Platform/Curl/CurlReport.h>

#include <new>
#include <string_view>
#include <utility>

namespace telvora::detail {

namespace {

// Longer than any deadline: CurlLoop ends transfers, not libcurl.
constexpr long connectSeconds = 2 * 24 * 60 * 60;

// Servers close an idle connection after about a minute, and an idle host uploads once a minute. A
// request is sent only once, so it must not go to a connection that the server is about to close.
constexpr long maximumIdleSeconds = 30;

constexpr const char* withdrawnRequest = "The request was withdrawn";

} // namespace

CurlTransfer::CurlTransfer(const CurlHTTPOptions& options, CurlConnections& connections)
    : m_options(options)
    , m_connections(connections)
    , m_handle(curl_easy_init())
    , m_answer(options.answerLimitBytes)
{
    if (!m_handle)
        throw std::bad_alloc();
    setFixedOptions();
    setCallbacks();
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
    set(CURLOPT_NOSIGNAL, 1L);
    set(CURLOPT_CONNECTTIMEOUT, connectSeconds);
    // Otherwise a resolver that never answers could block the thread beyond every time-out.
    set(CURLOPT_QUICK_EXIT, 1L);
    set(CURLOPT_USERAGENT, "Telvora/" TELVORA_VERSION_TEXT);

    set(CURLOPT_PROTOCOLS_STR, "http,https");
    // CurlLoop follows redirects itself: libcurl would send every header to every server.
    set(CURLOPT_FOLLOWLOCATION, 0L);
    set(CURLOPT_MAXAGE_CONN, maximumIdleSeconds);
    set(CURLOPT_MAXFILESIZE_LARGE, static_cast<curl_off_t>(m_options.answerLimitBytes));

    // Empty, not unset: libcurl reads unset options from the environment.
    set(CURLOPT_PROXY, m_options.proxy.value_or("").c_str());
    set(CURLOPT_NOPROXY, "");
    set(CURLOPT_NETRC, static_cast<long>(CURL_NETRC_IGNORED));
    set(CURLOPT_SUPPRESS_CONNECT_HEADERS, 1L);

    // A libcurl without HTTP/2 refuses this option and then uses HTTP/1.1.
    static_cast<void>(curl_easy_setopt(
        m_handle, CURLOPT_HTTP_VERSION, static_cast<long>(CURL_HTTP_VERSION_2TLS)));
}

void CurlTransfer::setCallbacks()
{
    void* const self = this;
    set(CURLOPT_PRIVATE, self);
    set(CURLOPT_ERRORBUFFER, m_errorText);
    set(CURLOPT_OPENSOCKETFUNCTION, &openSocket);
    set(CURLOPT_OPENSOCKETDATA, self);
    // A connection outlives the transfer that opened it.
    set(CURLOPT_CLOSESOCKETFUNCTION, &CurlConnections::close);
    set(CURLOPT_CLOSESOCKETDATA, static_cast<void*>(&m_connections));
    set(CURLOPT_PREREQFUNCTION, &beforeRequest);
    set(CURLOPT_PREREQDATA, self);
    set(CURLOPT_VERBOSE, 1L);
    set(CURLOPT_DEBUGFUNCTION, &takeInfo);
    set(CURLOPT_DEBUGDATA, self);
    set(CURLOPT_WRITEFUNCTION, &takeData);
    set(CURLOPT_WRITEDATA, self);
    set(CURLOPT_HEADERFUNCTION, &takeHeader);
    set(CURLOPT_HEADERDATA, self);
    set(CURLOPT_NOPROGRESS, 0L);
    set(CURLOPT_XFERINFOFUNCTION, &checkProgress);
    set(CURLOPT_XFERINFODATA, self);
}

void CurlTransfer::setTrust()
{
    set(CURLOPT_SSL_VERIFYPEER, 1L);
    set(CURLOPT_SSL_VERIFYHOST, 2L);
    set(CURLOPT_SSLVERSION, static_cast<long>(CURL_SSLVERSION_TLSv1_2));
    if (curl_ssl_ctx_callback stopper = keyLogStopper())
        set(CURLOPT_SSL_CTX_FUNCTION, stopper);
    if (m_options.authorityFile) {
        set(CURLOPT_CAINFO, m_options.authorityFile->c_str());
        set(CURLOPT_CAPATH, static_cast<const char*>(nullptr));
    }
    if (m_options.certificateFile)
        set(CURLOPT_SSLCERT, m_options.certificateFile->c_str());
    if (m_options.keyFile)
        set(CURLOPT_SSLKEY, m_options.keyFile->c_str());
}

void CurlTransfer::setMethod(const HTTPRequest& request)
{
    const std::string& method = request.method;
    bool isWithBody = carriesBody(request);
    bool isHead = !isWithBody && method == "HEAD";
    if (isWithBody) {
        set(CURLOPT_POST, 1L);
        set(CURLOPT_POSTFIELDSIZE_LARGE, static_cast<curl_off_t>(request.body.size()));
        // Not copied: the job keeps the body until the transfer is finished.
        set(CURLOPT_POSTFIELDS, request.body.data());
    } else {
        set(CURLOPT_HTTPGET, 1L);
        set(CURLOPT_NOBODY, isHead ? 1L : 0L);
    }
    bool isUsual = isHead || method == (isWithBody ? "POST" : "GET");
    set(CURLOPT_CUSTOMREQUEST, isUsual ? nullptr : method.c_str());
}

const char* CurlTransfer::begin(CurlJobs& job, CurlServer& server) noexcept
{
    m_server = &server;
    m_isNew = true;
    m_isUnanswered = false;
    m_connection.reset();
    m_stream.reset();
    m_isConnectionOwn = false;
    m_isRefused = false;
    m_answer.clear();
    m_errorText[0] = '\0';

    const HTTPRequest& request = job.front().request;
    if (request.isWithdrawn())
        return withdrawnRequest;
    try {
        m_headers = headersOf(request);
    } catch (const std::exception&) {
        return outOfMemory;
    }
    set(CURLOPT_URL, request.url.c_str());
    set(CURLOPT_HTTPHEADER, m_headers.get());
    setMethod(request);
    // If one option is missing, the request could be sent to a wrong place, so it is not sent.
    if (m_optionError != CURLE_OK)
        return curl_easy_strerror(m_optionError);
    m_job = std::move(job);
    return nullptr;
}

CurlJobs CurlTransfer::finish(CURLcode code) noexcept
{
    CurlJob& job = m_job.front();
    long status = 0;
    curl_easy_getinfo(m_handle, CURLINFO_RESPONSE_CODE, &status);
    noteHTTPVersion();
    m_isReusable = code == CURLE_OK;
    m_wasRefused = code != CURLE_OK && isRefusedByServer(code);
    job.answer.status = static_cast<int>(status);
    try {
        job.answer.error = errorFor(code);
        if (!job.answer.error) {
            job.answer.data = m_answer.takeData();
            job.answer.headers = m_answer.takeHeaders();
        }
    } catch (const std::exception&) {
        job.fail(outOfMemory);
    }
    m_connection.reset();
    return std::exchange(m_job, {});
}

const char* CurlTransfer::redirection() const
{
    const char* target = nullptr;
    curl_easy_getinfo(m_handle, CURLINFO_REDIRECT_URL, &target);
    return target;
}

void CurlTransfer::noteHTTPVersion()
{
    long version = CURL_HTTP_VERSION_NONE;
    curl_easy_getinfo(m_handle, CURLINFO_HTTP_VERSION, &version);
    m_usedHTTP2 = version == CURL_HTTP_VERSION_2_0;
    if (m_connection && m_usedHTTP2)
        m_connection->isHTTP2 = true;
}

bool CurlTransfer::isRefusedByServer(CURLcode code) const
{
    // libcurl also says that it has no memory when a head is too long.
    if (!m_isUnanswered || code == CURLE_OUT_OF_MEMORY)
        return false;
    // Of a kept connection, libcurl notices only with the first byte that it was closed.
    if (m_isRefused || (!m_isAnySent && !m_isConnectionOwn))
        return true;
    if (!m_connection || !m_connection->lastStream)
        return false;
    // Without a stream it was not sent at all: the server was already closing the connection.
    return m_stream ? *m_stream > *m_connection->lastStream : m_connection->isHTTP2;
}

CurlJobs CurlTransfer::finish(const char* error) noexcept
{
    m_job.front().fail(error);
    m_isReusable = false;
    m_wasRefused = false;
    m_connection.reset();
    return std::exchange(m_job, {});
}

std::optional<std::string> CurlTransfer::errorFor(CURLcode code) const
{
    // libcurl reports no error for an answer that ends within its headers.
    if (code == CURLE_OK && !m_answer.isHeadWhole())
        return "Answer ended within its headers";
    if (code == CURLE_OK)
        return {};
    if (auto error = m_answer.limitError())
        return error;
    if (code == CURLE_ABORTED_BY_CALLBACK && !m_isUnanswered && m_job.front().request.isWithdrawn())
        return withdrawnRequest;
    if (code == CURLE_FILESIZE_EXCEEDED)
        return "Answer above " + std::to_string(m_options.answerLimitBytes) + " bytes";
    if (code == CURLE_ABORTED_BY_CALLBACK || (m_isUnanswered && code == CURLE_COULDNT_CONNECT))
        return "Connection closed before the answer";
    return m_errorText[0] != '\0' ? m_errorText : curl_easy_strerror(code);
}

curl_socket_t CurlTransfer::openSocket(void* self, curlsocktype, curl_sockaddr* address)
{
    auto& transfer = *static_cast<CurlTransfer*>(self);
    if (transfer.m_isUnanswered)
        return CURL_SOCKET_BAD;
    transfer.m_isConnectionOwn = true;
    return transfer.m_connections.open(*address);
}

int CurlTransfer::beforeRequest(
    void* self, char* address, char* localAddress, int port, int localPort)
{
    auto& transfer = *static_cast<CurlTransfer*>(self);
    if (transfer.m_job.front().request.isWithdrawn())
        return CURL_PREREQFUNC_ABORT;
    // libcurl is about to send a request again that a closed connection may have delivered.
    if (transfer.m_isUnanswered)
        return CURL_PREREQFUNC_ABORT;
    transfer.m_isUnanswered = true;
    transfer.m_isAnySent = false;
    transfer.m_connection = transfer.m_connections.find(localAddress, localPort, address, port);
    // libcurl does not always notice that the server has closed a kept connection.
    transfer.m_isRefused
        = !transfer.m_isConnectionOwn && transfer.m_connection && !transfer.m_connection->isOpen();
    return transfer.m_isRefused ? CURL_PREREQFUNC_ABORT : CURL_PREREQFUNC_OK;
}

int CurlTransfer::takeInfo(CURL*, curl_infotype type, char* data, std::size_t size, void* self)
{
    auto& transfer = *static_cast<CurlTransfer*>(self);
    if (type == CURLINFO_DATA_IN)
        transfer.m_answer.countBody(size);
    if (type == CURLINFO_HEADER_OUT)
        transfer.m_isAnySent = true;
    // Before a connection is known, the lines are about connections that libcurl tries and gives
    // up.
    if (type != CURLINFO_TEXT || !transfer.m_connection)
        return 0;
    const CurlReport report = parseLogLine({ data, size });
    if (report.stream) {
        transfer.m_stream = report.stream;
        transfer.m_connection->isHTTP2 = true;
    }
    if (report.lastStream)
        transfer.m_connection->lastStream = report.lastStream;
    // For a request on a reused connection that the server refused, libcurl logs only that it sends
    // it again. It logs a repetition for other reasons too; these leave a last stream, an error
    // text or a closed connection.
    const bool isRefused = report.isRepeating && transfer.m_stream
        && !transfer.m_connection->lastStream && transfer.m_errorText[0] == '\0'
        && transfer.m_connection->isOpen();
    transfer.m_isRefused = transfer.m_isRefused || report.isRefused || isRefused;
    return 0;
}

// A result other than the number of bytes ends the transfer.
std::size_t CurlTransfer::takeData(char* data, std::size_t size, std::size_t count, void* self)
{
    auto& transfer = *static_cast<CurlTransfer*>(self);
    const std::string_view bytes(data, size * count);
    return transfer.m_answer.addData(bytes) ? bytes.size() : bytes.size() + 1;
}

std::size_t CurlTransfer::takeHeader(char* data, std::size_t size, std::size_t count, void* self)
{
    auto& transfer = *static_cast<CurlTransfer*>(self);
    const std::string_view line(data, size * count);
    transfer.m_isUnanswered = false;
    return transfer.m_answer.addHeader(line) ? line.size() : line.size() + 1;
}

// Checked here because no other callback is called for framing bytes.
int CurlTransfer::checkProgress(void* self, curl_off_t, curl_off_t, curl_off_t, curl_off_t)
{
    return static_cast<CurlTransfer*>(self)->m_answer.isFramingWithinLimit() ? 0 : 1;
}

} // namespace telvora::detail
