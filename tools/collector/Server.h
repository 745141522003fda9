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

/// A connection as the server sees it: something that is alive and can be told to go.
class Connection {
public:
    explicit Connection(Server& server);
    virtual ~Connection();
    Connection(const Connection&) = delete;
    Connection& operator=(const Connection&) = delete;

    /// Closes the socket; the object goes once its last operation has come back.
    virtual void drop() = 0;

    /// When the connection is given up unless something moves.
    SteadyClock::time_point deadline = SteadyClock::time_point::max();

protected:
    Server& server() const { return m_server; }

private:
    Server& m_server;
};

/// Listens, hands accepted sockets to sessions, and drops those that make no headway.
///
/// Life: listen() once, then the io_context's run() until stop(), which closes everything so
/// that run() returns by itself. Must outlive every connection, hence run() must have returned.
///
/// Thread safety: one thread, the one that runs the io_context.
class Server {
public:
    enum class Door { open, control };

    Server(asio::io_context& context, Collector& collector);

    /// Opens the doors the options name and begins to accept. Says what is wrong, if anything.
    std::optional<std::string> listen();
    void stop();

    std::uint16_t port() const { return m_doors.front().endpoint.port(); }
    std::optional<std::uint16_t> controlPort() const;

    asio::io_context& context() { return m_context; }
    Collector& collector() { return m_collector; }

    /// Room to read into, shared by all connections: nothing may be left in it across a wait.
    std::array<char, 65536>& scratch() { return m_scratch; }

    /// Accounts for a body that is held outside the store. False where there is no room for it.
    bool changeHeldBytes(std::size_t before, std::size_t now);

    /// Calls `wake` some time after the condition has come true. Forgotten once it returns true.
    void awaken(std::function<bool()> wake) { m_waiters.push_back(std::move(wake)); }

    /// Serves a connection with an ordinary session; `received` was read from it already.
    void serve(Socket socket, Door door, std::string received);

private:
    friend class Connection;

    struct DoorState {
        Door kind;
        asio::ip::tcp::endpoint endpoint;
        Acceptor acceptor;
        bool isListening = false;
    };

    std::optional<std::string> openDoor(Door kind, const Endpoint& endpoint);
    static ErrorCode bind(DoorState& door);
    void startAccepting(DoorState& door);
    void accept(DoorState& door);
    void welcome(DoorState& door, Socket socket);
    void followRules();
    void sweep();
    void wakeWaiters();

    asio::io_context& m_context;
    Collector& m_collector;
    std::vector<DoorState> m_doors;
    Timer m_sweepTimer;
    Timer m_acceptTimer;
    bool m_isStopped = false;

    std::unordered_set<Connection*> m_connections;
    std::size_t m_maximumConnections = 0;
    std::size_t m_heldBytes = 0;
    std::vector<std::function<bool()>> m_waiters;
    bool m_isWakePosted = false;
    std::array<char, 65536> m_scratch {};
};

/// Closes so that the other side sees a reset.
void resetSocket(Socket& socket);

} // namespace telvora::collector
