#pragma once

#include <tools/collector/RequestParser.h>
#include <tools/collector/Server.h>

#include <array>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

namespace telvora::collector {

/// One HTTP/1.1 connection. Requests are answered one after the other in the order in which
/// they came, however many of them arrived at once.
///
/// Life: start(), then kept alive by its own pending operations. drop() ends it from outside.
/// A request without an answer then counts as undelivered.
class Session final : public Connection, public std::enable_shared_from_this<Session> {
public:
    Session(Server& server, Socket socket, Server::Port port);
    ~Session() override;

    void start(std::string received);
    void drop() override;

private:
    enum class State {
        // Waiting for a request or in the middle of one.
        reading,
        // A whole request has arrived; its answer is delayed or never comes.
        holding,
        writing,
        // The last answer is sent; input is discarded until the other side closes.
        lingering,
        closed,
    };

    void armRead();
    void onRead(ErrorCode error, std::size_t size);
    void onPeerEnded();
    bool readIntoScratch();
    void processInput();
    std::size_t feed(std::string_view data);
    void refuse(int status, const char* why);
    void noteProgress();

    void handle();
    void wait(const WaitCondition& condition);
    void endWait();

    void perform(Answer answer);
    void holdFor(std::chrono::milliseconds time, void (Session::*then)());
    void send();
    void finishAnswer();
    void settle(Outcome outcome);
    void releaseHeldBytes();
    void linger();
    void close();

    Socket m_socket;
    Server::Port m_port;
    std::uint64_t m_number;
    State m_state = State::reading;

    std::array<char, 4096> m_buffer {};
    bool m_isReadPending = false;
    bool m_isPeerDone = false;
    // Received and not yet parsed.
    std::string m_received;
    std::optional<RequestParser> m_parser;
    bool m_isContinueSent = false;
    std::size_t m_heldBytes = 0;

    Answer m_answer;
    std::size_t m_sent = 0;
    std::optional<Store::Ticket> m_ticket;
    std::optional<WaitCondition> m_wait;
    std::optional<Timer> m_timer;
};

} // namespace telvora::collector
