#pragma once

#include <Telvora/Platform/Linux/CurlRequest.h>
#include <Telvora/Platform/Linux/LinuxHTTPClient.h>

#include <curl/curl.h>

#include <chrono>
#include <cstddef>
#include <optional>
#include <string>

namespace telvora {

/// One libcurl handle and the job that it carries at the moment. Used for job after job: making
/// a handle and setting its thirty options costs more than many a request.
///
/// Life: idle -> begin() -> under way -> finish() -> idle. libcurl knows the transfer by address,
/// so it never moves.
/// Threads: one, the client's.
class CurlTransfer {
public:
    explicit CurlTransfer(const LinuxHTTPOptions& options);
    ~CurlTransfer();

    CurlTransfer(const CurlTransfer&) = delete;
    CurlTransfer& operator=(const CurlTransfer&) = delete;

    /// Takes the job and makes handle() ready for it; says why if that failed, and then waits for
    /// finish() all the same. Requires a job without a refusal.
    std::optional<std::string> begin(CurlJob job, std::string lane);

    /// Gives the job back, over for `error`, or with the answer that came when there is none.
    CurlResult finish(std::optional<std::string> error);

    /// What libcurl's `code` means for this transfer; nothing if it went well.
    std::optional<std::string> errorFor(CURLcode code) const;

    CURL* handle() const { return m_handle; }
    const std::string& lane() const { return m_lane; }
    std::chrono::steady_clock::time_point deadline() const { return m_job.deadline; }

private:
    template<typename Value> void set(CURLoption option, Value value);
    void setFixedOptions();
    void setTrust();
    void setMethod();

    static std::size_t readBody(char* room, std::size_t size, std::size_t count, void* self);
    static std::size_t takeData(char* data, std::size_t size, std::size_t count, void* self);
    static std::size_t takeHeader(char* data, std::size_t size, std::size_t count, void* self);
    static int rewindBody(void* self, curl_off_t offset, int origin);

    const LinuxHTTPOptions& m_options;
    CURL* m_handle;
    CURLcode m_optionError = CURLE_OK;
    char m_errorText[CURL_ERROR_SIZE] = {};

    CurlJob m_job;
    CurlHeaders m_headers;
    std::string m_lane;
    std::string m_data;
    std::size_t m_bodyBytesRead = 0;
    /// Since the request went out, the first time or after a redirect.
    bool m_hasAnswerBegun = false;
    bool m_isHeadWhole = false;
    bool m_isAnswerTooLong = false;
};

} // namespace telvora
