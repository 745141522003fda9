#include <tests/Tools/Wire.h>

#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <utility>

namespace telvora::tests {

Wire::Wire(std::uint16_t port)
    : m_socket(::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0))
{
    sockaddr_in address {};
    address.sin_family = AF_INET;
    address.sin_port = htons(port);
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    if (::connect(m_socket, reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0)
        return;
    m_error = errno;
    ::close(std::exchange(m_socket, -1));
}

Wire::~Wire()
{
    if (m_socket >= 0)
        ::close(m_socket);
}

Wire::Wire(Wire&& other) noexcept
    : m_socket(std::exchange(other.m_socket, -1))
    , m_error(other.m_error)
    , m_received(std::move(other.m_received))
    , m_end(other.m_end)
{
}

bool Wire::send(std::string_view bytes)
{
    while (!bytes.empty()) {
        const auto size = ::send(m_socket, bytes.data(), bytes.size(), MSG_NOSIGNAL);
        if (size < 0)
            return false;
        bytes.remove_prefix(static_cast<std::size_t>(size));
    }
    return true;
}

void Wire::closeSending()
{
    ::shutdown(m_socket, SHUT_WR);
}

bool Wire::receive(std::chrono::steady_clock::time_point until)
{
    if (m_end != End::open)
        return false;
    const auto left = std::chrono::duration_cast<std::chrono::milliseconds>(
        until - std::chrono::steady_clock::now());
    pollfd state { m_socket, POLLIN, 0 };
    if (left.count() <= 0 || ::poll(&state, 1, static_cast<int>(left.count())) <= 0)
        return false;
    char buffer[65536];
    const auto size = ::recv(m_socket, buffer, sizeof buffer, 0);
    if (size <= 0) {
        m_end = size == 0 ? End::orderly : End::reset;
        return false;
    }
    m_received.append(buffer, static_cast<std::size_t>(size));
    return true;
}

Wire::Reply Wire::read(std::chrono::milliseconds longest)
{
    const auto until = std::chrono::steady_clock::now() + longest;
    Reply reply;
    std::size_t headEnd = m_received.find("\r\n\r\n");
    while (headEnd == std::string::npos && receive(until))
        headEnd = m_received.find("\r\n\r\n");
    if (headEnd == std::string::npos) {
        reply.end = m_end;
        return reply;
    }
    reply.head = m_received.substr(0, headEnd + 2);
    std::sscanf(reply.head.c_str(), "HTTP/1.1 %d", &reply.status);
    std::size_t length = 0;
    if (const auto at = reply.head.find("Content-Length: "); at != std::string::npos)
        length = std::stoul(reply.head.substr(at + 16));
    m_received.erase(0, headEnd + 4);
    while (m_received.size() < length && receive(until)) { }
    reply.isWhole = m_received.size() >= length;
    reply.body = m_received.substr(0, length);
    m_received.erase(0, length);
    reply.end = m_end;
    return reply;
}

std::string Wire::readAll(End& end, std::chrono::milliseconds longest)
{
    const auto until = std::chrono::steady_clock::now() + longest;
    while (receive(until)) { }
    end = m_end;
    return std::exchange(m_received, {});
}

std::string nextTraceID()
{
    static unsigned s_number = 0;
    char text[40];
    std::snprintf(text, sizeof text, "%08X-0000-4000-8000-00000000000A", ++s_number);
    return text;
}

std::string batchWith(std::string_view path, std::string_view body, std::string_view header,
    std::optional<std::string_view> value)
{
    const std::pair<std::string_view, std::string> headers[] {
        { "clienttype", "ios" },
        { "versioncode", "1.2.3" },
        { "system-version", "12" },
        { "QVX-UUID", "some-installation" },
        { "Content-Type", "application/json" },
        { "x-trace-id", nextTraceID() },
    };
    std::string text = "POST " + std::string(path) + " HTTP/1.1\r\nHost: collector\r\n";
    for (const auto& [name, usual] : headers) {
        if (name == header && !value)
            continue;
        text += std::string(name) + ": " + (name == header ? std::string(*value) : usual) + "\r\n";
    }
    return text + "Content-Length: " + std::to_string(body.size()) + "\r\n\r\n" + std::string(body);
}

std::string batch(std::string_view path, std::string_view body)
{
    return batchWith(path, body, "", std::nullopt);
}

std::string request(std::string_view method, std::string_view target, std::string_view body)
{
    return std::string(method) + ' ' + std::string(target)
        + " HTTP/1.1\r\nHost: collector\r\nContent-Length: " + std::to_string(body.size())
        + "\r\n\r\n" + std::string(body);
}

std::string get(std::string_view target)
{
    return "GET " + std::string(target) + " HTTP/1.1\r\nHost: collector\r\n\r\n";
}

} // namespace telvora::tests
