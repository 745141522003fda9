#pragma once

#include <Telvora/Platform/Curl/CurlAnswer.h>
#include <Telvora/Platform/Curl/CurlConnection.h>
#include <Telvora/Platform/Curl/CurlHTTPClient.h>
#include <Telvora/Platform/Curl/CurlRequest.h>

#include <curl/curl.h>

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <utility>

namespace telvora::detail {

class CurlServer;

/// One libcurl handle and its current job. Reused for many jobs, because making a handle and
/// setting its thirty options may cost more than a request.
///
/// Life: idle -> begin() -> under way -> finish() -> idle. libcurl holds its address, so it never
/// moves.
/// Threads: one, the client's.
/// Failure: the constructor throws std::bad_alloc.
class CurlTransfer {
public:
    /// Both must outlive the transfer.
    CurlTransfer(const CurlHTTPOptions& options, CurlConnections& connections);
    ~CurlTransfer();

    CurlTransfer(const CurlTransfer&) = delete;
    CurlTransfer& operator=(const CurlTransfer&) = delete;

    /// Prepares handle() for the job and takes it; returns null then. On failure it returns the
    /// error and leaves the job in `job`. Requires a request without a problem.
    const char* begin(CurlJobs& job, CurlServer& server) noexcept;

    /// Returns the job with its answer, or with the error that `code` means.
    CurlJobs finish(CURLcode code) noexcept;

    /// Returns the job with an error.
    CurlJobs finish(const char* error) noexcept;

    /// After finish(): whether the server did not process the request, so that it may be sent
    /// again.
    bool wasRefused() const { return m_wasRefused; }

    /// After finish(): the address to which the answer redirects; null if it does not redirect.
    const char* redirection() const;

    /// After finish(): whether the answer came over HTTP/2.
    bool usedHTTP2() const { return m_usedHTTP2; }

    /// After finish(): whether begin() may be called again. Only after an answer: if libcurl was
    /// kept from sending a request again, its handle would do so in the next transfer.
    bool isReusable() const { return m_isReusable; }

    CURL* handle() const { return m_handle; }
    CurlServer& server() const { return *m_server; }
    CurlJob::Time deadline() const { return m_job.front().deadline; }

    /// The connection that carries the request; null until there is one.
    CurlConnection* connection() const { return m_connection.get(); }
    /// Whether this is the first call since begin().
    bool isNew() { return std::exchange(m_isNew, false); }

private:
    template<typename Value> void set(CURLoption option, Value value);
    void setFixedOptions();
    void setCallbacks();
    void setTrust();
    void setMethod(const HTTPRequest& request);
    void noteHTTPVersion();
    bool isRefusedByServer(CURLcode code) const;
    std::optional<std::string> errorFor(CURLcode code) const;

    static curl_socket_t openSocket(void* self, curlsocktype purpose, curl_sockaddr* address);
    static int beforeRequest(
        void* self, char* address, char* localAddress, int port, int localPort);
    static int takeInfo(CURL*, curl_infotype type, char* data, std::size_t size, void* self);
    static std::size_t takeData(char* data, std::size_t size, std::size_t count, void* self);
    static int checkProgress(void* self, curl_off_t, curl_off_t, curl_off_t, curl_off_t);
    static std::size_t takeHeader(char* data, std::size_t size, std::size_t count, void* self);

    const CurlHTTPOptions& m_options;
    CurlConnections& m_connections;
    CURL* const m_handle;
    CURLcode m_optionError = CURLE_OK;
    char m_errorText[CURL_ERROR_SIZE] = {};

    // Empty while idle.
    CurlJobs m_job;
    CurlServer* m_server = nullptr;
    CurlHeaders m_headers;
    bool m_isNew = false;
    // True from when the request is given to a connection until the first byte of an answer.
    bool m_isUnanswered = false;
    // Whether any byte of the request was sent.
    bool m_isAnySent = false;
    std::shared_ptr<CurlConnection> m_connection;
    std::optional<std::uint32_t> m_stream;
    // Whether the connection was opened for this request.
    bool m_isConnectionOwn = false;
    bool m_isRefused = false;
    bool m_wasRefused = false;
    bool m_usedHTTP2 = false;
    bool m_isReusable = false;

    CurlAnswer m_answer;
};

} // namespace telvora::detail
