#pragma once

#include <Telvora/Platform/HTTPClient.h>

#include <curl/curl.h>

#include <chrono>
#include <memory>
#include <optional>
#include <string>

namespace telvora {

/// A request with whom to tell and until when, as it waits for its turn and travels.
struct CurlJob {
    HTTPRequest request;
    HTTPClient::Completion completion;
    std::chrono::steady_clock::time_point deadline;
};

/// A job that is over, ready to be told.
struct CurlResult {
    HTTPClient::Completion completion;
    HTTPAnswer answer;
};

/// Where a request goes: requests with equal text share connections.
struct CurlOrigin {
    std::string text;
    bool isSecure = false;
    /// Why the address is none to fetch from; the rest is empty then.
    std::optional<std::string> error;
};

CurlOrigin originOf(const std::string& url);

/// Why the request must not go out, if it must not.
std::optional<std::string> refusalOf(const HTTPRequest& request);

/// Whether a body follows the headers, be it an empty one.
bool carriesBody(const HTTPRequest& request);

struct CurlHeadersDeleter {
    void operator()(curl_slist* list) const { curl_slist_free_all(list); }
};
using CurlHeaders = std::unique_ptr<curl_slist, CurlHeadersDeleter>;

/// The request's headers in libcurl's spelling, and those of libcurl's own habit switched off.
/// Requires a request without a refusal.
CurlHeaders headersOf(const HTTPRequest& request);

} // namespace telvora
