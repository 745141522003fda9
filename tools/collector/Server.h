#pragma once

#include <tools/collector/Collector.h>
#include <tools/collector/Control.h>

#include <boost/asio/basic_socket_acceptor.hpp>
#include <boost/asio/basic_stream_socket.hpp>
#include <boost/asio/basic_waitable_timer.hpp>
#include <boost/asio/io_context.hpp>
#include <boost/asio/ip/tcp.hpp>

#include <array>
#include <chrono>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <unordered_set>
#include <vector>

namespace telvora::collector {

namespace asio = boost::asio;
using SteadyClock = std::chrono::steady_clock;
using Executor = asio::io_context::executor_type;
using Socket = asio::basic_stream_socket<asio::ip::tcp, Executor>;
using Acceptor = asio::basic_socket_acceptor<asio::ip::tcp, Executor>;
using Timer = asio::basic_waitable_timer<SteadyClock, asio::wait_traits<SteadyClock>, Executor>;
using ErrorCode = boost::system::error_code;

class Server;

/// A connection as the server sees it: it has a deadline and can be dropped.
class Connection {
public:
    explicit Connection(Server& server);
    virtual ~Connection();
    Connection(const Connection&) = delete;
    Connection& operator=(const Connection&) = delete;

    /// Closes the socket; the object is destroyed when its last pending operation has ended.
    virtual void drop() = 0;

    /// When the server drops the connection; progress moves it.
    SteadyClock::time_point deadline = SteadyClock::time_point::max();

protected:
    Server& server() const { return m_server; }

private:
    Server& m_server;
};

/// Listens, hands accepted sockets to sessions, and drops connections without progress.
///
/// Life: listen() once, then the io_context's run(). stop() closes everything, so that run()
/// returns; the server must outlive every connection, so it is destroyed only after that.
///
/// Thread safety: one thread, the one that runs the io_context.
class Server {
public:
    enum class Port { open, control };

    Server(asio::io_context& context, Collector& collector);

    /// Opens the ports that the options name and accepts. Returns an error text on failure.
    std::optional<std::string> listen();
    void stop();

    std::uint16_t port() const { return m_listeners.front().endpoint.port(); }
    std::optional<std::uint16_t> controlPort() const;

    asio::io_context& context() { return m_context; }
    Collector& collector() { return m_collector; }

    /// A read buffer that all connections share: its content is lost across a wait.
    std::array<char, 65536>& scratch() { return m_scratch; }

    /// Counts the bytes of a body that is still arriving. False where they exceed the limit.
    bool changeHeldBytes(std::size_t before, std::size_t now);

    /// Calls `waiter` after each change of the counts until it returns true.
    void addWaiter(std::function<bool()> waiter) { m_waiters.push_back(std::move(waiter)); }

    /// Serves a connection with an ordinary session; `received` was read from it already.
    void serve(Socket socket, Port port, std::string received);

private:
    friend class Connection;

    struct Listener {
        Port kind;
        asio::ip::tcp::endpoint endpoint;
        Acceptor acceptor;
        bool isListening = false;
    };

    std::optional<std::string> openListener(Port kind, const Endpoint& endpoint);
    static ErrorCode bind(Listener& listener);
    void startAccepting(Listener& listener);
    void accept(Listener& listener);
    void onAccepted(Listener& listener, Socket socket);
    void updateListening();
    void sweep();
    void callWaiters();

    asio::io_context& m_context;
    Collector& m_collector;
    std::vector<Listener> m_listeners;
    Timer m_sweepTimer;
    Timer m_acceptTimer;
    bool m_isStopped = false;

    std::unordered_set<Connection*> m_connections;
    std::size_t m_maximumConnections = 0;
    std::size_t m_heldBytes = 0;
    std::vector<std::function<bool()>> m_waiters;
    bool m_isCallPosted = false;
    std::array<char, 65536> m_scratch {};
};

/// Closes the socket so that the other side sees a reset.
void resetSocket(Socket& socket);

} // namespace telvora::collector
