#include <tests/Host/LoopbackServer.h>

#include <cstddef>
#include <map>
#include <stdexcept>
#include <string_view>
#include <vector>

#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

namespace telvora::tests {

namespace {

constexpr std::string_view acceptance
    = "HTTP/1.1 200 OK\r\nContent-Length: 16\r\n\r\n{\"success\":true}";

// The size of the request at the front of `received`; 0 while it is not complete.
std::size_t requestLength(const std::string& received)
{
    const std::size_t headersEnd = received.find("\r\n\r\n");
    if (headersEnd == std::string::npos)
        return 0;
    const std::string field = "Content-Length: ";
    const std::size_t position = received.find(field);
    if (position == std::string::npos || position > headersEnd)
        return headersEnd + 4;
    const std::size_t length
        = headersEnd + 4 + std::stoul(received.substr(position + field.size()));
    return received.size() >= length ? length : 0;
}

} // namespace

LoopbackServer::LoopbackServer(Behaviour behaviour)
    : m_listening(socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0))
{
    sockaddr_in address {};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t length = sizeof address;
    auto* generic = reinterpret_cast<sockaddr*>(&address);
    if (bind(m_listening, generic, length) != 0 || listen(m_listening, 16) != 0
        || getsockname(m_listening, generic, &length) != 0)
        throw std::runtime_error("No port to listen on");
    m_port = ntohs(address.sin_port);
    // The kernel accepts connections by itself; a silent server needs no thread.
    if (behaviour == Behaviour::answers)
        m_thread = std::thread([this] { serve(); });
}

LoopbackServer::~LoopbackServer()
{
    m_isEnding = true;
    if (m_thread.joinable())
        m_thread.join();
    close(m_listening);
}

void LoopbackServer::serve()
{
    std::map<int, std::string> received;
    while (!m_isEnding) {
        std::vector<pollfd> waited { { m_listening, POLLIN, 0 } };
        for (const auto& [connection, text] : received)
            waited.push_back({ connection, POLLIN, 0 });
        if (poll(waited.data(), waited.size(), 20) <= 0)
            continue;
        for (const pollfd& ready : waited) {
            if (ready.revents == 0)
                continue;
            if (ready.fd == m_listening) {
                received[accept4(m_listening, nullptr, nullptr, SOCK_CLOEXEC)];
            } else if (!answer(ready.fd, received[ready.fd])) {
                close(ready.fd);
                received.erase(ready.fd);
            }
        }
    }
    for (const auto& [connection, text] : received)
        close(connection);
}

bool LoopbackServer::answer(int connection, std::string& received)
{
    char buffer[65536];
    const ssize_t count = recv(connection, buffer, sizeof buffer, 0);
    if (count <= 0)
        return false;
    received.append(buffer, static_cast<std::size_t>(count));
    while (const std::size_t length = requestLength(received)) {
        received.erase(0, length);
        if (send(connection, acceptance.data(), acceptance.size(), MSG_NOSIGNAL) < 0)
            return false;
        ++m_answered;
    }
    return true;
}

} // namespace telvora::tests
