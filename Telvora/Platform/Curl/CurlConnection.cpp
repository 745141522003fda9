#include <Telvora/Platform/Curl/CurlConnection.h>

#include <arpa/inet.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <cstring>
#include <exception>

namespace telvora::detail {

namespace {

using GetName = int(int, sockaddr*, socklen_t*);

// Whether the end of the socket that `getName` reads has this address and port.
bool isEnd(GetName* getName, int socket, const char* address, int port)
{
    union {
        sockaddr generic;
        sockaddr_in v4;
        sockaddr_in6 v6;
    } name {};
    socklen_t size = sizeof(name);
    if (getName(socket, &name.generic, &size) != 0)
        return false;
    const bool isV6 = name.generic.sa_family == AF_INET6;
    const void* bytes = &name.v4.sin_addr;
    if (isV6)
        bytes = &name.v6.sin6_addr;
    char text[INET6_ADDRSTRLEN] = {};
    return ntohs(isV6 ? name.v6.sin6_port : name.v4.sin_port) == port
        && inet_ntop(name.generic.sa_family, bytes, text, sizeof(text))
        && std::strcmp(text, address) == 0;
}

} // namespace

bool CurlConnection::isOpen() const
{
    // A read would not do: an unread closing message of TLS would hide the end of the connection.
    pollfd state { socket, POLLRDHUP, 0 };
    return ::poll(&state, 1, 0) == 0;
}

curl_socket_t CurlConnections::open(const curl_sockaddr& address) noexcept
{
    const int socket = ::socket(address.family, address.socktype | SOCK_CLOEXEC, address.protocol);
    if (socket < 0)
        return CURL_SOCKET_BAD;
    try {
        m_open.push_back(std::make_shared<CurlConnection>(socket));
        return socket;
    } catch (const std::exception&) {
        ::close(socket);
        return CURL_SOCKET_BAD;
    }
}

int CurlConnections::close(void* self, curl_socket_t socket)
{
    auto& open = static_cast<CurlConnections*>(self)->m_open;
    const auto closed = std::ranges::find_if(
        open, [=](const auto& connection) { return connection->socket == socket; });
    if (closed != open.end()) {
        (*closed)->isClosed = true;
        open.erase(closed);
    }
    return ::close(socket);
}

std::shared_ptr<CurlConnection> CurlConnections::find(
    const char* localAddress, int localPort, const char* address, int port) const
{
    const auto found = std::ranges::find_if(m_open, [&](const auto& connection) {
        return isEnd(&getsockname, connection->socket, localAddress, localPort)
            && isEnd(&getpeername, connection->socket, address, port);
    });
    return found == m_open.end() ? nullptr : *found;
}

} // namespace telvora::detail
