#pragma once

#include <tools/collector/Server.h>

#include <array>
#include <cstddef>
#include <memory>
#include <string>
#include <string_view>

namespace telvora::collector {

/// A connection in sink mode, made to take as little of the machine as a server can. It reads of a
/// POST's head nothing but the length, lets the kernel throw the body away uncopied unless
/// events are counted, and answers success.
///
/// Deliberate: takes bodies of a stated length only. Anything that is no such POST moves the
/// connection to an ordinary Session, which understands all of HTTP/1.1.
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
    EventCounter m_counter;
    bool m_isCounting;
};

} // namespace telvora::collector
