#include <tools/collector/SinkSession.h>

#include <boost/asio/buffer.hpp>
#include <boost/beast/core/string.hpp>

#include <sys/socket.h>

#include <algorithm>
#include <cerrno>
#include <charconv>
#include <cstring>

namespace telvora::collector {
namespace {

constexpr std::string_view answer = "HTTP/1.1 200 OK\r\nContent-Type: application/json\r\n"
                                    "Content-Length: 16\r\n\r\n{\"success\":true}";

// The Content-Length of a plain POST; absent for any other request.
std::optional<std::size_t> plainBodyLength(std::string_view head)
{
    const std::string_view requestLine = head.substr(0, head.find("\r\n"));
    if (!requestLine.starts_with("POST /") || requestLine.starts_with("POST /_telvora/")
        || !requestLine.ends_with(" HTTP/1.1"))
        return std::nullopt;
    std::optional<std::size_t> length;
    for (std::size_t line = head.find("\r\n"); line + 2 < head.size();) {
        line += 2;
        const std::size_t end = head.find("\r\n", line);
        const std::string_view text = head.substr(line, end - line);
        line = end;
        const std::size_t colon = text.find(':');
        if (colon == std::string_view::npos)
            continue;
        const boost::beast::string_view name(text.data(), colon);
        if (boost::beast::iequals(name, "Transfer-Encoding")
            || boost::beast::iequals(name, "Expect") || boost::beast::iequals(name, "Connection"))
            return std::nullopt;
        if (!boost::beast::iequals(name, "Content-Length"))
            continue;
        std::string_view digits = text.substr(colon + 1);
        digits.remove_prefix(std::min(digits.find_first_not_of(' '), digits.size()));
        std::size_t value = 0;
        const auto [stop, error]
            = std::from_chars(digits.data(), digits.data() + digits.size(), value);
        if (length || error != std::errc() || stop != digits.data() + digits.size())
            return std::nullopt;
        length = value;
    }
    return length;
}

} // namespace

SinkSession::SinkSession(Server& server, Socket socket)
    : Connection(server)
    , m_socket(std::move(socket))
{
}

void SinkSession::start()
{
    read();
}

void SinkSession::drop()
{
    deadline = SteadyClock::time_point::max();
    ErrorCode ignored;
    m_socket.close(ignored);
}

void SinkSession::read()
{
    deadline = SteadyClock::now() + server().collector().options().idle;
    m_socket.async_read_some(asio::buffer(m_buffer.data() + m_size, m_buffer.size() - m_size),
        [self = shared_from_this()](ErrorCode error, std::size_t size) {
            if (error)
                return;
            self->m_size += size;
            self->run();
        });
}

void SinkSession::run()
{
    for (;;) {
        switch (m_isInBody ? takeBody() : takeHead()) {
        case Step::more:
            break;
        case Step::wait:
            read();
            return;
        case Step::leave:
            return;
        }
    }
}

SinkSession::Step SinkSession::takeHead()
{
    if (m_size == 0)
        return Step::wait;
    const std::string_view received(m_buffer.data(), m_size);
    const std::size_t end = received.find("\r\n\r\n");
    if (end == std::string_view::npos && m_size < m_buffer.size())
        return Step::wait;
    const auto length = end == std::string_view::npos
        ? std::nullopt
        : plainBodyLength(received.substr(0, end + 2));
    if (!length || *length > server().collector().options().maximumBody) {
        server().serve(std::move(m_socket), Server::Port::open, std::string(received));
        return Step::leave;
    }
    m_size -= end + 4;
    std::memmove(m_buffer.data(), m_buffer.data() + end + 4, m_size);
    m_isInBody = true;
    m_bodySize = *length;
    m_bodyLeft = *length;
    return Step::more;
}

SinkSession::Step SinkSession::takeBody()
{
    const std::size_t here = std::min(m_size, m_bodyLeft);
    m_size -= here;
    m_bodyLeft -= here;
    std::memmove(m_buffer.data(), m_buffer.data() + here, m_size);

    auto& scratch = server().scratch();
    while (m_bodyLeft > 0) {
        const std::size_t wanted = std::min(m_bodyLeft, scratch.size());
        // With MSG_TRUNC a TCP socket throws the bytes away without copying them.
        const auto size
            = ::recv(m_socket.native_handle(), scratch.data(), wanted, MSG_DONTWAIT | MSG_TRUNC);
        if (size < 0 && (errno == EAGAIN || errno == EINTR))
            return Step::wait;
        if (size <= 0) {
            drop();
            return Step::leave;
        }
        m_bodyLeft -= static_cast<std::size_t>(size);
    }
    return finishRequest();
}

SinkSession::Step SinkSession::finishRequest()
{
    m_isInBody = false;
    if (!sendAnswer()) {
        drop();
        return Step::leave;
    }
    server().collector().countInSink(m_bodySize);
    return Step::more;
}

// False where the answer does not fit into the send buffer: the client then has left hundreds of
// answers unread and is dropped.
bool SinkSession::sendAnswer()
{
    const auto size = ::send(
        m_socket.native_handle(), answer.data(), answer.size(), MSG_NOSIGNAL | MSG_DONTWAIT);
    return size == static_cast<ssize_t>(answer.size());
}

} // namespace telvora::collector
