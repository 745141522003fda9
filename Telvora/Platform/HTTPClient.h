#pragma once

#include <Telvora/Base/Export.h>
#include <Telvora/Base/SharedBytes.h>
#include <Telvora/Base/Work.h>

#include <atomic>
#include <chrono>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace telvora {

/// Names and values.
using HTTPHeaders = std::vector<std::pair<std::string, std::string>>;

/// One request. Header names are unique, regardless of case, and are sent in this order.
struct HTTPRequest {
    /// Absolute, http or https.
    std::string url;
    /// "POST" or any other token.
    std::string method;
    /// A client may add headers that are missing, such as Content-Length.
    HTTPHeaders headers;
    /// Any bytes; may be empty.
    SharedBytes body;
    /// The longest time from when the client gives the request to a connection, which may have to
    /// be opened first, to the end of the answer. Waiting for a connection does not count.
    std::chrono::seconds timeout { 60 };
    /// Names of headers that are sent only to the server of `url`, not to one that it redirects to.
    /// "Authorization", "Cookie" and "Host" are always among them.
    std::vector<std::string> hostOnlyHeaders {};
    /// Null, or whether the request must not begin any more. The client looks right before it sends
    /// the first byte; a request that is withdrawn by then ends with an error.
    std::shared_ptr<const std::atomic<bool>> withdrawn {};

    /// Whether the request must not begin any more.
    bool isWithdrawn() const { return withdrawn && withdrawn->load(std::memory_order_acquire); }
};

/// The result of a request. Either `data` is set (the body of a complete answer with any status; it
/// may be empty), or `error` (why there is no complete answer).
struct HTTPAnswer {
    /// The body of a complete answer; may be empty.
    std::optional<std::string> data;
    /// Why there is no complete answer, for a person.
    std::optional<std::string> error;
    /// The HTTP status; 0 if there was no answer.
    int status = 0;
    /// Names and values as they came, in their order; without interim answers and trailers. Empty
    /// if `error` is set.
    HTTPHeaders headers {};
};

/// Sends requests, several at a time, and calls a completion for each.
///
/// Used by TrackerNetwork, which uploads the batches.
///
/// Life: as long as the platform. Requests that are unfinished when the process ends are dropped
/// without a completion.
///
/// Threads: every operation from any thread. send() never waits for the network. A completion is
/// called exactly once for each request, on the client's own thread, without a lock held. It is
/// called before send() returns, on the caller's thread, only if the client has no thread (in a
/// process that was forked after the library's first use, or when the system refuses a thread or
/// memory), or if a scripted answer asks for it.
///
/// Failure: every failure is an `error` of the answer: unknown host, closed port,
/// unsupported scheme, time-out, an answer above the client's size limit, a header value with a
/// line break or a NUL in it.
///
/// Implementations: Curl/CurlHTTPClient (libcurl), Simulated/ScriptedHTTPClient (answers from a
/// list).
class TELVORA_EXPORT HTTPClient {
public:
    /// Takes the answer of one request.
    using Completion = UniqueFunction<void(HTTPAnswer), 80>;

    virtual ~HTTPClient() = default;

    /// Sends the request and returns at once. The completion gets the answer or the error.
    virtual void send(HTTPRequest request, Completion completion) = 0;
};

} // namespace telvora
