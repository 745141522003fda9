#pragma once

#include <Telvora/Platform/Dispatch/StartThread.h>
#include <Telvora/Platform/HTTPClient.h>

#include <chrono>
#include <cstddef>
#include <memory>
#include <optional>
#include <string>

namespace telvora {

class Clock;

namespace detail {
class CurlWorker;
} // namespace detail

/// What a CurlHTTPClient does differently from its defaults. Nothing of it is ever read from the
/// environment: a batch must not take another way because of how the host was started.
struct CurlHTTPOptions {
    /// File of the certificate authorities to trust (PEM), in place of the system's.
    std::optional<std::string> authorityFile;
    /// Files of the client certificate and of its key (PEM), for servers that ask for one.
    std::optional<std::string> certificateFile;
    std::optional<std::string> keyFile;
    /// Address of a proxy for every request; none when absent.
    std::optional<std::string> proxy;
    /// The body of an answer that is longer is an error and is not read any further.
    std::size_t answerLimitBytes = 4 * 1024 * 1024;
    /// How many connections a host gets. They are kept and used again. One of HTTP/1.1 carries one
    /// request at a time, one that is known to speak HTTP/2 up to 100.
    std::size_t connectionsPerHost = 6;
    /// A request that has waited this long for a connection gets another one, as long as its host
    /// has fewer than `maximumConnectionsPerHost`.
    std::chrono::milliseconds connectionWait { 100 };
    std::size_t maximumConnectionsPerHost = 64;
};

/// HTTPClient over libcurl: HTTP/1.1, and HTTP/2 where a server offers it over TLS. Certificates
/// are always verified. Up to ten redirects are followed, from http to http and https and from
/// https to https alone; a POST stays a POST with its body. Headers for the host alone do not go
/// to another host or port, but for a host's move from http on port 80 to https on port 443.
///
/// Life: its one thread, "telvora-http", starts with the first request and sleeps while there is
/// nothing to do. Destroying the client (not from a completion) completes what is under way with
/// an error. When the process ends, the thread stops outside libcurl and no completion begins any
/// more. In a process that was forked after the library's first use, send() completes each request
/// at once, on the caller's thread, with an error; one that was forked before is a process like
/// any other.
///
/// Threads: as HTTPClient says. What a completion throws is dropped.
///
/// Failure: as HTTPClient says. Refused before anything goes out: a method or a header name that
/// is no token, and CR, LF or NUL in a header value. Without a thread or memory for it, a request
/// is completed with an error before send() returns, on the caller's thread.
///
/// Deliberate: a request's time-out begins when it is given to a connection, which may have to be
/// opened first. The wait for a connection has no limit. The time that completions take on the
/// client's thread does not count either. Otherwise requests would fail that their server has
/// never seen, or has answered.
/// Deliberate: a request that its server may have acted on is not repeated. If a kept connection
/// dies without an answer, that is an error. Only what the server cannot have looked at is sent
/// again, unchanged and with its whole time-out, until one time-out after its first sending: what
/// the server says so of (HTTP/2: GOAWAY, REFUSED_STREAM), and what was about to go to a kept
/// connection that the server had closed.
/// Deliberate: Content-Length and Transfer-Encoding are the client's own, whatever the request
/// says.
class TELVORA_EXPORT CurlHTTPClient : public HTTPClient {
public:
    /// The time is taken from `clock`, which must outlive the process: a thread that sleeps for
    /// good may still know it.
    CurlHTTPClient(StartThread startThread, const Clock& clock, CurlHTTPOptions options = {});
    ~CurlHTTPClient() override;

    void send(HTTPRequest request, Completion completion) override;

    /// Requests whose completion has not returned yet.
    std::size_t inFlight() const;

private:
    std::unique_ptr<detail::CurlWorker> m_worker;
};

} // namespace telvora
