#pragma once

#include <tools/collector/Server.h>

#include <array>
#include <cstddef>
#include <memory>
#include <string>
#include <string_view>

namespace telvora::collector {

/// A connection in sink mode, made to use as little processor time as possible. It reads only the
/// length from a POST's head, lets the kernel discard the body without a copy, and answers success.
///
/// Deliberate: takes only POST requests with a Content-Length. At any other request an ordinary
/// Session, which understands all of HTTP/1.1, takes over the connection.
class SinkSession final : public Connection, public std::enable_shared_from_this<SinkSession> {
public:
    SinkSession(Server& server, Socket socket);

    void start();
    void drop() override;

private:
    enum class Step { more, wait, leave };

    void read();
    void run();
    Step takeHead();
    Step takeBody();
    Step finishRequest();
    bool sendAnswer();

    Socket m_socket;
    std::array<char, 4096> m_buffer {};
    std::size_t m_size = 0;
    bool m_isInBody = false;
    std::size_t m_bodySize = 0;
    std::size_t m_bodyLeft = 0;
};

} // namespace telvora::collector
