#pragma once

#include <curl/curl.h>

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <vector>

namespace telvora::detail {

class CurlServer;

/// One open connection, identified by its socket: libcurl does not say which of its connections
/// carries a request.
struct CurlConnection {
    /// How many requests a connection of HTTP/2 carries at once unless its server allows fewer. The
    /// same number is libcurl's default.
    static constexpr std::size_t http2Requests = 100;

    explicit CurlConnection(curl_socket_t itsSocket)
        : socket(itsSocket)
    {
    }

    /// False once this machine knows that the server has closed the connection.
    bool isOpen() const;

    const curl_socket_t socket;
    /// Whether libcurl has closed the socket. A request that it tries to send once more still
    /// refers to the connection then.
    bool isClosed = false;
    bool isHTTP2 = false;
    /// Set once the server announces the end (GOAWAY): it has not processed streams above this one.
    std::optional<std::uint32_t> lastStream {};

    // The following are set by CurlLoop::count().
    /// The server whose requests it carries.
    CurlServer* server = nullptr;
    /// How many requests it carries now.
    std::size_t requests = 0;
    /// The most requests that it has carried at once.
    std::size_t mostRequests = 0;
    /// How many more requests it can take now.
    std::size_t room = 0;
    /// How many requests at once its server allows, as far as is known.
    std::size_t limit = http2Requests;
};

/// The open connections of a client: opens and closes libcurl's sockets, and finds the connection
/// that carries a request.
///
/// Life: must outlive the libcurl handles that use it. Threads: one.
class CurlConnections {
public:
    /// A new socket, closed on exec; CURL_SOCKET_BAD if the system refuses it.
    curl_socket_t open(const curl_sockaddr& address) noexcept;

    /// For CURLOPT_CLOSESOCKETFUNCTION; `self` is the CurlConnections.
    static int close(void* self, curl_socket_t socket);

    /// The open connection between these two addresses; null if there is none.
    std::shared_ptr<CurlConnection> find(
        const char* localAddress, int localPort, const char* address, int port) const;

    const std::vector<std::shared_ptr<CurlConnection>>& all() const { return m_open; }

private:
    std::vector<std::shared_ptr<CurlConnection>> m_open;
};

} // namespace telvora::detail
