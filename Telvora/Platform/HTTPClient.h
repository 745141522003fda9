#pragma once

#include <Telvora/Base/Export.h>
#include <Telvora/Base/Work.h>

#include <chrono>
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace telvora {

/// One request, ready to go out. Header names are unique without regard to case and are sent in
/// this order.
struct HTTPRequest {
    std::string url;
    std::string method;
    std::vector<std::pair<std::string, std::string>> headers;
    std::string body;
    /// From when the client gives the request to a connection, be it one that must be opened first,
    /// to the end of the answer. Waiting for a connection costs nothing of it.
    std::chrono::seconds timeout { 60 };
    /// Names of those headers that only the host of `url` may see, and not one that it redirects
    /// to. "Authorization", "Cookie" and "Host" always count as such.
    std::vector<std::string> hostOnlyHeaders {};
};

/// What came of a request. Either `data` (an answer that arrived whole, whatever its status; it
/// may be empty) or `error` (what kept it from arriving) is set.
struct HTTPAnswer {
    std::optional<std::string> data;
    std::optional<std::string> error;
    /// For people and logs; the library does not look at it.
    int status = 0;
};

/// Sends requests, several at a time, and says what came of each.
///
/// Life: lives as long as the platform. Requests still under way when the process ends are
/// dropped without a completion.
///
/// Threads: every operation from any thread. send() never waits for the network. A completion
/// comes exactly once for each request, on a thread of the client's own, with no lock held. It
/// comes before send() returns only where a scripted answer asks for it and, on the caller's
/// thread, where the client has no other thread: in a process that was forked after the library's
/// first use, and where the system gives no thread or no memory.
///
/// Failure: everything that can go wrong is an `error` of the answer: unknown host, closed port,
/// unsupported scheme, time-out, an answer above the client's size limit, a header value with a
/// line break in it.
///
/// Implementations: Curl/CurlHTTPClient (libcurl), Simulated/ScriptedHTTPClient (answers from a
/// list).
class TELVORA_EXPORT HTTPClient {
public:
    using Completion = UniqueFunction<void(HTTPAnswer), 80>;

    virtual ~HTTPClient() = default;

    virtual void send(HTTPRequest request, Completion completion) = 0;
};

} // namespace telvora
