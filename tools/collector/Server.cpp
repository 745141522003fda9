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
// Descriptors that the process needs for other things than connections.
constexpr std::size_t ownDescriptors = 64;

// Raises the limit as far as the system allows and returns it.
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
    // Pending accepts refer to their listener, so the vector must not move its elements.
    m_listeners.reserve(2);
}

std::optional<std::string> Server::listen()
{
    const Options& options = m_collector.options();
    if (auto problem = openListener(Port::open, options.listen))
        return problem;
    if (options.control) {
        if (auto problem = openListener(Port::control, *options.control))
            return problem;
    }
    m_collector.onRulesChanged = [this] { updateListening(); };
    m_collector.onProgress = [this] {
        if (m_waiters.empty() || m_isCallPosted)
            return;
        m_isCallPosted = true;
        asio::post(m_context, [this] { callWaiters(); });
    };
    updateListening();
    sweep();
    return std::nullopt;
}

std::optional<std::string> Server::openListener(Port kind, const Endpoint& endpoint)
{
    ErrorCode error;
    const auto address = asio::ip::make_address(endpoint.address, error);
    if (error)
        return endpoint.address + " is no address";
    Listener& listener = m_listeners.emplace_back(
        Listener { kind, { address, endpoint.port }, Acceptor(m_context) });
    error = bind(listener);
    if (!error) {
        listener.endpoint = listener.acceptor.local_endpoint(error);
        startAccepting(listener);
    }
    if (error)
        return "cannot listen at " + endpoint.address + ':' + std::to_string(endpoint.port) + ": "
            + error.message();
    return std::nullopt;
}

ErrorCode Server::bind(Listener& listener)
{
    ErrorCode error;
    listener.acceptor.open(listener.endpoint.protocol(), error);
    if (!error)
        listener.acceptor.set_option(Acceptor::reuse_address(true), error);
    if (!error)
        listener.acceptor.bind(listener.endpoint, error);
    return error;
}

void Server::startAccepting(Listener& listener)
{
    constexpr int backlog = 4096;
    ErrorCode error;
    listener.acceptor.listen(backlog, error);
    listener.isListening = !error;
    if (listener.isListening)
        accept(listener);
}

void Server::accept(Listener& listener)
{
    listener.acceptor.async_accept(m_context, [this, &listener](ErrorCode error, Socket socket) {
        if (error == asio::error::operation_aborted || m_isStopped)
            return;
        if (!error) {
            onAccepted(listener, std::move(socket));
        } else if (error == asio::error::no_descriptors) {
            m_acceptTimer.expires_after(pauseWithoutDescriptors);
            m_acceptTimer.async_wait([this, &listener](ErrorCode) {
                if (listener.isListening && !m_isStopped)
                    accept(listener);
            });
            return;
        }
        if (listener.isListening)
            accept(listener);
    });
}

void Server::onAccepted(Listener& listener, Socket socket)
{
    const bool isFull = m_connections.size() >= m_maximumConnections;
    const bool isRefused = listener.kind == Port::open
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
    if (m_collector.options().isSink && listener.kind == Port::open)
        std::make_shared<SinkSession>(*this, std::move(socket))->start();
    else
        serve(std::move(socket), listener.kind, {});
}

void Server::serve(Socket socket, Port port, std::string received)
{
    std::make_shared<Session>(*this, std::move(socket), port)->start(std::move(received));
}

void Server::updateListening()
{
    const bool isRefusing = m_collector.rules().refusesToListen(SteadyClock::now());
    Listener& listener = m_listeners.front();
    if (m_isStopped || listener.isListening != isRefusing)
        return;
    if (!isRefusing) {
        startAccepting(listener);
        return;
    }
    // Bound but not listening: connecting is refused, and no other process can take the port.
    listener.isListening = false;
    ErrorCode ignored;
    listener.acceptor.close(ignored);
    bind(listener);
}

void Server::sweep()
{
    const auto now = SteadyClock::now();
    for (Connection* connection : m_connections) {
        if (now >= connection->deadline)
            connection->drop();
    }
    updateListening();
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
    for (Listener& listener : m_listeners)
        listener.acceptor.close(ignored);
    m_sweepTimer.cancel();
    m_acceptTimer.cancel();
    m_waiters.clear();
    for (Connection* connection : m_connections)
        connection->drop();
}

std::optional<std::uint16_t> Server::controlPort() const
{
    if (m_listeners.size() < 2)
        return std::nullopt;
    return m_listeners.back().endpoint.port();
}

bool Server::changeHeldBytes(std::size_t before, std::size_t now)
{
    m_heldBytes = m_heldBytes - before + now;
    // One body of the largest size must always fit.
    const Options& options = m_collector.options();
    return now <= before || m_heldBytes <= std::max(options.maximumMemory, options.maximumBody);
}

void Server::callWaiters()
{
    m_isCallPosted = false;
    auto waiters = std::move(m_waiters);
    m_waiters.clear();
    for (auto& wake : waiters) {
        if (!wake())
            m_waiters.push_back(std::move(wake));
    }
}

} // namespace telvora::collector
