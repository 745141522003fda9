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

/// Options of a CurlHTTPClient; every member has a default. None is ever read from the environment,
/// so the way a host was started cannot redirect its batches.
struct CurlHTTPOptions {
    /// Path of a file with the certificate authorities to trust (PEM). Absent: the system's.
    std::optional<std::string> authorityFile {};
    /// Path of the file with the client certificate (PEM), for servers that ask for one. Absent:
    /// none is sent.
    std::optional<std::string> certificateFile {};
    /// Path of the file with the private key of the client certificate (PEM). Absent: the key is in
    /// `certificateFile`.
    std::optional<std::string> keyFile {};
    /// URL of a proxy for every request. Absent or empty: no proxy.
    std::optional<std::string> proxy {};
    /// The longest body of an answer, in bytes; 4 MiB by default. A longer one is an error, and the
    /// rest is not read.
    std::size_t answerLimitBytes = 4 * 1024 * 1024;
    /// How many connections a server normally gets, at least 1. They are kept open and reused. A
    /// connection of HTTP/1.1 carries one request at a time; one of HTTP/2 carries up to 100.
    std::size_t connectionsPerHost = 6;
    /// A request that has waited this long for a connection gets a new one, as long as its server
    /// has fewer than `maximumConnectionsPerHost`.
    std::chrono::milliseconds connectionWait { 100 };
    /// How many connections a server gets at most, counting those opened after `connectionWait`. A
    /// value below `connectionsPerHost` counts as that.
    std::size_t maximumConnectionsPerHost = 64;
};

/// HTTPClient over libcurl: HTTP/1.1, and HTTP/2 where a server offers it over TLS. Certificates
/// are always verified. Up to ten redirects are followed: http may redirect to http and https,
/// https only to https. A POST stays a POST with its body. Host-only headers are not sent to
/// another server or port, except when a server redirects from http on port 80 to https on port
/// 443.
///
/// Life: its one thread, "telvora-http", starts with the first request and sleeps while it is idle.
/// The destructor completes all unfinished requests with an error; do not call it from a
/// completion. When the process ends, the thread stops outside libcurl and calls no more
/// completions. In a process that was forked after the library's first use, send() completes each
/// request at once with an error, on the caller's thread. A process that was forked before is not
/// affected.
///
/// Threads: as HTTPClient says. An exception that leaves a completion is dropped. The client's
/// thread initializes libcurl with the first request.
///
/// Failure: as HTTPClient says. Without a libcurl that locks its initialization, as each does since
/// 7.84 (CURL_VERSION_THREADSAFE), every request ends with an error. These end with an error before
/// anything is sent: a method or a header name that is no token, and CR, LF or NUL in a header
/// value. When the system refuses a thread or memory, the request is completed with an error before
/// send() returns, on the caller's thread.
///
/// Deliberate: a request's time-out begins when the request is given to a connection, which may
/// have to be opened first. The wait for a connection has no limit, and the time that completions
/// take on the client's thread does not count. Otherwise a request could time out that was never
/// sent, or whose answer has already arrived.
///
/// Deliberate: a request that its server may have processed is not sent again. If a kept connection
/// closes without an answer, that is an error. Two kinds of request are sent again: those that the
/// server says it did not process (HTTP/2: GOAWAY, REFUSED_STREAM), and those of which nothing was
/// sent because the kept connection that the client had chosen was closed (over TLS: of which not
/// even the head and the first part of the body were sent whole). They are sent unchanged
/// and with their whole time-out, until one time-out after the first sending.
///
/// Deliberate: a program that the host starts inherits no connection, but may inherit a pair of
/// sockets that libcurl makes for each lookup of a name and that exists while the lookup lasts. It
/// is connected to nothing else and carries no data; libcurl offers no way to mark it.
///
/// Deliberate: the client sets Content-Length and Transfer-Encoding itself and ignores those of the
/// request.
class TELVORA_EXPORT CurlHTTPClient : public HTTPClient {
public:
    /// `startThread` is called with the first request, and with any later one that finds no thread.
    /// `clock` must never be destroyed: the client's thread may still use it while the process
    /// ends.
    CurlHTTPClient(StartThread startThread, const Clock& clock, CurlHTTPOptions options = {});
    ~CurlHTTPClient() override;

    void send(HTTPRequest request, Completion completion) override;

    /// How many requests have a completion that has not returned yet. 0 in a forked child.
    std::size_t inFlight() const;

private:
    std::unique_ptr<detail::CurlWorker> m_worker;
};

} // namespace telvora
