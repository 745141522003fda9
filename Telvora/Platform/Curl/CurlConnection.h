#pragma once

#include <curl/curl.h>

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <vector>

namespace telvora::detail {

class CurlHost;

/// One open connection. libcurl has no name for it that a request could be asked for, so it goes by
/// its socket.
struct CurlConnection {
    /// How many requests a connection takes that speaks HTTP/2, if its server does not want fewer:
    /// what libcurl, too, puts on one.
    static constexpr std::size_t http2Requests = 100;

    explicit CurlConnection(curl_socket_t itsSocket)
        : socket(itsSocket)
    {
    }

    /// Whether the other end has not closed it, as far as is known here.
    bool isOpen() const;

    const curl_socket_t socket;
    bool isHTTP2 = false;
    /// Set once its server closes it: streams above this one were not looked at.
    std::optional<std::uint32_t> lastStream {};

    /// Set by CurlLoop's count: who uses it, how many requests it carries, the most it has carried
    /// at once, and how many it can take besides.
    CurlHost* host = nullptr;
    std::size_t requests = 0;
    std::size_t mostRequests = 0;
    std::size_t room = 0;
    /// How many requests its server lets it carry, as far as is known.
    std::size_t limit = http2Requests;
};

/// The open connections of a client: makes and closes libcurl's sockets, and tells which of them a
/// request has been given to.
///
/// Life: outlives the libcurl handles that know it. Threads: one.
class CurlConnections {
public:
    /// A socket that a program started by the host does not inherit; CURL_SOCKET_BAD if there is
    /// none to have.
    curl_socket_t open(const curl_sockaddr& address) noexcept;

    /// For CURLOPT_CLOSESOCKETFUNCTION; `self` is the CurlConnections.
    static int close(void* self, curl_socket_t socket);

    /// The open connection between these two ends; null if there is none.
    std::shared_ptr<CurlConnection> find(
        const char* localAddress, int localPort, const char* address, int port) const;

    const std::vector<std::shared_ptr<CurlConnection>>& all() const { return m_open; }

private:
    std::vector<std::shared_ptr<CurlConnection>> m_open;
};

} // namespace telvora::detail
