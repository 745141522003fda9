#pragma once

#include <Telvora/Base/Mutex.h>
#include <Telvora/Base/ThreadAnnotations.h>

#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <functional>
#include <latch>
#include <list>
#include <string>
#include <thread>
#include <utility>
#include <vector>

namespace telvora::detail {

/// What a LoopbackServer was asked, byte for byte.
struct LoopbackRequest {
    std::string method;
    std::string target;
    std::vector<std::pair<std::string, std::string>> headers;
    std::string body;
    /// Which connection it came on, from 0.
    std::size_t connection = 0;
    /// Which request it is of all that came, from 0.
    std::size_t number = 0;

    std::string header(const std::string& name) const;
    std::vector<std::string> headerNames() const;
};

/// What a LoopbackServer does about a request: writes the pieces, each after its delay, and then
/// deals with the connection.
struct LoopbackReply {
    struct Piece {
        std::string bytes;
        std::chrono::milliseconds delay { 0 };
    };
    enum class Ending { KeepOpen, Close, Reset };

    std::vector<Piece> pieces;
    Ending ending = Ending::KeepOpen;

    /// A well-formed answer; `headers` are lines with their CRLF.
    static LoopbackReply answer(
        int status, const std::string& body, const std::string& headers = "");
    static LoopbackReply redirect(int status, const std::string& location);
    static LoopbackReply close() { return { {}, Ending::Close }; }
    /// Nothing, until the server goes.
    static LoopbackReply silence();

    LoopbackReply after(std::chrono::milliseconds delay) &&;
    LoopbackReply thenClose() &&;
};

/// A server on the loopback that answers by a script and remembers everything. It can do what no
/// proper server does, and a test sees what really went over the wire.
///
/// Life: listens from construction, which waits until the accepting thread runs: a test may fork
/// next, and a thread that starts holds locks of the sanitizers. Destruction cuts every connection
/// and waits for its threads.
/// Threads: one for each connection, on which the script runs.
class LoopbackServer {
public:
    using Script = std::function<LoopbackReply(const LoopbackRequest&)>;

    explicit LoopbackServer(Script script);
    ~LoopbackServer();

    std::string url(const std::string& target = "/") const;
    std::string port() const { return std::to_string(m_port); }
    std::vector<LoopbackRequest> received() const TELVORA_EXCLUDES(m_lock);
    std::size_t connections() const TELVORA_EXCLUDES(m_lock);

    /// Returns once `count` requests have arrived; false if they do not within 60 s.
    bool waitForRequests(std::size_t count) TELVORA_EXCLUDES(m_lock);

private:
    void accept() TELVORA_EXCLUDES(m_lock);
    void serve(int socket, std::size_t connection) TELVORA_EXCLUDES(m_lock);
    bool write(int socket, const LoopbackReply& reply) TELVORA_EXCLUDES(m_lock);
    void remember(LoopbackRequest& request) TELVORA_EXCLUDES(m_lock);
    /// False when the server goes.
    bool pass(std::chrono::milliseconds delay) TELVORA_EXCLUDES(m_lock);

    const Script m_script;
    int m_listener = -1;
    unsigned short m_port = 0;

    mutable Mutex m_lock;
    std::condition_variable m_changed;
    std::vector<LoopbackRequest> m_received TELVORA_GUARDED_BY(m_lock);
    /// By connection; -1 once closed, since the number may then belong to another file.
    std::vector<int> m_sockets TELVORA_GUARDED_BY(m_lock);
    std::list<std::thread> m_servers TELVORA_GUARDED_BY(m_lock);
    bool m_isGoing TELVORA_GUARDED_BY(m_lock) = false;
    std::latch m_accepterRuns { 1 };
    std::thread m_accepter;
};

} // namespace telvora::detail
