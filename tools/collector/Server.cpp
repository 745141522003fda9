#include <tools/collector/Server.h>

#include <tools/collector/Session.h>
#include <tools/collector/SinkSession.h>

#include <boost/asio/ip/address.hpp>
#include <boost/asio/post.hpp>

#include <sys/resource.h>

#include <algorithm>

namespace telvora::collector {
namespace {

constexpr std::chrono::milliseconds sweepInterval { 200 };
constexpr std::chrono::milliseconds pauseWithoutDescriptors { 100 };
/// Descriptors that are none of the connections'.
constexpr std::size_t ownDescriptors = 64;

/// As many as the system allows.
std::size_t raiseDescriptorLimit()
{
    rlimit limit {};
    if (::getrlimit(RLIMIT_NOFILE, &limit) != 0)
        return 1024;
    limit.rlim_cur = limit.rlim_max;
    ::setrlimit(RLIMIT_NOFILE, &limit);
    ::getrlimit(RLIMIT_NOFILE, &limit);
    return limit.rlim_cur;
}

} // namespace

Connection::Connection(Server& server)
    : m_server(server)
{
    m_server.m_connections.insert(this);
}

Connection::~Connection()
{
    m_server.m_connections.erase(this);
}

void resetSocket(Socket& socket)
{
    ErrorCode ignored;
    socket.set_option(asio::socket_base::linger(true, 0), ignored);
    socket.close(ignored);
}

Server::Server(asio::io_context& context, Collector& collector)
    : m_context(context)
    , m_collector(collector)
    , m_sweepTimer(context)
    , m_acceptTimer(context)
{
    const std::size_t descriptors = raiseDescriptorLimit();
    m_maximumConnections = descriptors > 2 * ownDescriptors ? descriptors - ownDescriptors : 16;
    // References to a door are held across waits.
    m_doors.reserve(2);
}

std::optional<std::string> Server::listen()
{
    const Options& options = m_collector.options();
    if (auto problem = openDoor(Door::open, options.listen))
        return problem;
    if (options.control) {
        if (auto problem = openDoor(Door::control, *options.control))
            return problem;
    }
    m_collector.onRulesChanged = [this] { followRules(); };
    m_collector.onProgress = [this] {
        if (m_waiters.empty() || m_isWakePosted)
            return;
        m_isWakePosted = true;
        asio::post(m_context, [this] { wakeWaiters(); });
    };
    followRules();
    sweep();
    return std::nullopt;
}

std::optional<std::string> Server::openDoor(Door kind, const Endpoint& endpoint)
{
    ErrorCode error;
    const auto address = asio::ip::make_address(endpoint.address, error);
    if (error)
        return endpoint.address + " is no address";
    DoorState& door
        = m_doors.emplace_back(DoorState { kind, { address, endpoint.port }, Acceptor(m_context) });
    error = bind(door);
    if (!error) {
        door.endpoint = door.acceptor.local_endpoint(error);
        startAccepting(door);
    }
    if (error)
        return "cannot listen at " + endpoint.address + ':' + std::to_string(endpoint.port) + ": "
            + error.message();
    return std::nullopt;
}

ErrorCode Server::bind(DoorState& door)
{
    ErrorCode error;
    door.acceptor.open(door.endpoint.protocol(), error);
    if (!error)
        door.acceptor.set_option(Acceptor::reuse_address(true), error);
    if (!error)
        door.acceptor.bind(door.endpoint, error);
    return error;
}

void Server::startAccepting(DoorState& door)
{
    constexpr int backlog = 4096;
    ErrorCode error;
    door.acceptor.listen(backlog, error);
    door.isListening = !error;
    if (door.isListening)
        accept(door);
}

void Server::accept(DoorState& door)
{
    door.acceptor.async_accept(m_context, [this, &door](ErrorCode error, Socket socket) {
        if (error == asio::error::operation_aborted || m_isStopped)
            return;
        if (!error) {
            welcome(door, std::move(socket));
        } else if (error == asio::error::no_descriptors) {
            m_acceptTimer.expires_after(pauseWithoutDescriptors);
            m_acceptTimer.async_wait([this, &door](ErrorCode) {
                if (door.isListening && !m_isStopped)
                    accept(door);
            });
            return;
        }
        if (door.isListening)
            accept(door);
    });
}

void Server::welcome(DoorState& door, Socket socket)
{
    const bool isFull = m_connections.size() >= m_maximumConnections;
    const bool isRefused = door.kind == Door::open
        && m_collector.rules().takeForConnection(SteadyClock::now()).has_value();
    if (isFull || isRefused) {
        m_collector.store().noteRefusedConnection();
        resetSocket(socket);
        return;
    }
    m_collector.store().noteConnection();
    ErrorCode ignored;
    socket.non_blocking(true, ignored);
    socket.set_option(asio::ip::tcp::no_delay(true), ignored);
    if (m_collector.options().isSink && door.kind == Door::open)
        std::make_shared<SinkSession>(*this, std::move(socket))->start();
    else
        serve(std::move(socket), door.kind, {});
}

void Server::serve(Socket socket, Door door, std::string received)
{
    std::make_shared<Session>(*this, std::move(socket), door)->start(std::move(received));
}

void Server::followRules()
{
    const bool isRefusing = m_collector.rules().refusesToListen(SteadyClock::now());
    DoorState& door = m_doors.front();
    if (m_isStopped || door.isListening != isRefusing)
        return;
    if (!isRefusing) {
        startAccepting(door);
        return;
    }
    // Bound but not listening: connecting is refused, and nobody else can take the port.
    door.isListening = false;
    ErrorCode ignored;
    door.acceptor.close(ignored);
    bind(door);
}

void Server::sweep()
{
    const auto now = SteadyClock::now();
    for (Connection* connection : m_connections) {
        if (now >= connection->deadline)
            connection->drop();
    }
    followRules();
    m_sweepTimer.expires_after(sweepInterval);
    m_sweepTimer.async_wait([this](ErrorCode error) {
        if (!error && !m_isStopped)
            sweep();
    });
}

void Server::stop()
{
    m_isStopped = true;
    ErrorCode ignored;
    for (DoorState& door : m_doors)
        door.acceptor.close(ignored);
    m_sweepTimer.cancel();
    m_acceptTimer.cancel();
    m_waiters.clear();
    for (Connection* connection : m_connections)
        connection->drop();
}

std::optional<std::uint16_t> Server::controlPort() const
{
    if (m_doors.size() < 2)
        return std::nullopt;
    return m_doors.back().endpoint.port();
}

bool Server::changeHeldBytes(std::size_t before, std::size_t now)
{
    m_heldBytes = m_heldBytes - before + now;
    // One body of the largest size must always be possible.
    const Options& options = m_collector.options();
    return now <= before || m_heldBytes <= std::max(options.maximumMemory, options.maximumBody);
}

void Server::wakeWaiters()
{
    m_isWakePosted = false;
    auto waiters = std::move(m_waiters);
    m_waiters.clear();
    for (auto& wake : waiters) {
        if (!wake())
            m_waiters.push_back(std::move(wake));
    }
}

} // namespace telvora::collector
