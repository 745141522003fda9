#include <Telvora/Platform/Linux/Network/LinuxNetworkWatcher.h>

#include <Telvora/Base/Guarded.h>
#include <Telvora/Platform/Linux/Network/NetworkSnapshot.h>
#include <Telvora/Platform/Linux/Process/LinuxThread.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <chrono>
#include <exception>
#include <new>
#include <utility>
#include <vector>

#include <fcntl.h>
#include <linux/rtnetlink.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

namespace telvora::detail {

namespace {

using Connection = Reachability::Connection;
using Dump = NetlinkSocket::Dump;

// If the thread does not run after that time, the system has refused a thread that should start it.
constexpr auto longestStart = std::chrono::seconds(1);

} // namespace

struct LinuxNetworkWatcher::State {
    State(SystemFiles theFiles, DumpFunction theDump)
        : files(std::move(theFiles))
        , dump(std::move(theDump))
    {
    }

    // Asks the kernel for all links and routes. `result` is unchanged if that fails.
    Dump readConnection(NetlinkSocket& socket, Connection& result) const
    {
        NetworkSnapshot snapshot;
        const auto add = [&](const nlmsghdr& message) { snapshot.add(message); };
        Dump outcome = Dump::whole;
        for (const std::uint16_t type : { RTM_GETLINK, RTM_GETROUTE }) {
            const Dump part = dump(socket, type, add);
            if (part == Dump::failed)
                return part;
            if (part == Dump::interrupted)
                outcome = part;
        }
        result = snapshot.connection(files);
        return outcome;
    }

    void publish(Connection now)
    {
        if (connection.exchange(now) == now)
            return;
        for (const auto& weak : listeners.get()) {
            if (const auto listener = weak.lock())
                listener->connectionDidChange(now);
        }
    }

    const SystemFiles files;
    const DumpFunction dump;
    // Whether the snapshot is up to date, or soon will be.
    bool isFresh() const
    {
        if (isThreadRunning)
            return true;
        return isWatching && std::chrono::steady_clock::now() - openedAt.load() < longestStart;
    }

    std::atomic<Connection> connection { Connection::none };
    // A session is open. Its thread runs, or a block that starts it is under way.
    std::atomic<bool> isWatching { false };
    std::atomic<bool> isThreadRunning { false };
    std::atomic<std::chrono::steady_clock::time_point> openedAt {};
    Guarded<std::vector<std::weak_ptr<Listener>>> listeners;
};

// Both ends live as long as the watcher or the thread: writing to a pipe that nobody can read would
// send the host a signal.
struct LinuxNetworkWatcher::StopPipe {
    explicit StopPipe(const int (&ends)[2])
        : reading(ends[0])
        , writing(ends[1])
    {
    }

    Descriptor reading;
    Descriptor writing;
};

// One run of the watching thread: its sockets, and the pipe that ends it.
class LinuxNetworkWatcher::Session {
public:
    // Null when the sockets or the pipe cannot be opened. Takes the first reading.
    static std::unique_ptr<Session> open(std::shared_ptr<State> state)
    {
        std::unique_ptr<Session> session(new Session(std::move(state)));
        // Subscribed before the first reading, so that no change in between is missed.
        session->m_events
            = NetlinkSocket::open(RTMGRP_LINK | RTMGRP_IPV4_ROUTE | RTMGRP_IPV6_ROUTE);
        session->m_requests = NetlinkSocket::open(0);
        int ends[2];
        if (!session->m_events || !session->m_requests
            || ::pipe2(ends, O_CLOEXEC | O_NONBLOCK) != 0)
            return nullptr;
        session->m_stop = std::make_shared<const StopPipe>(ends);
        session->read();
        session->m_state->openedAt = std::chrono::steady_clock::now();
        session->m_state->isWatching = true;
        return session;
    }

    ~Session()
    {
        m_state->isThreadRunning = false;
        m_state->isWatching = false;
    }

    Session(const Session&) = delete;
    Session& operator=(const Session&) = delete;

    std::shared_ptr<const StopPipe> stop() const { return m_stop; }

    // Returns when the watcher is destroyed, a descriptor no longer works or there is no memory.
    // After the last two the next reading begins to watch again.
    void watch() noexcept
    {
        m_state->isThreadRunning = true;
        try {
            while (waitForEvents() && readEvents()) {
                // One reading for all waiting messages, since changes come in groups. It reads
                // links and routes: the kernel sends no message for IPv4 routes lost with a link.
                if (m_isStale)
                    read();
            }
        } catch (const std::exception&) {
            // There is no memory.
        }
    }

private:
    explicit Session(std::shared_ptr<State> state)
        : m_state(std::move(state))
    {
    }

    void read()
    {
        // A reading during which something changed may miss unchanged objects. After the last
        // attempt its result is published anyway, and the reading is repeated a second later.
        static constexpr int attempts = 8;

        Connection connection = m_state->connection;
        Dump result = Dump::interrupted;
        for (int attempt = 0; attempt < attempts && result == Dump::interrupted; ++attempt)
            result = m_state->readConnection(*m_requests, connection);
        m_state->publish(connection);
        m_isStale = result != Dump::whole;
    }

    bool waitForEvents() const
    {
        // Without a stale reading there is no time limit, so an idle machine is not woken.
        const int limitMilliseconds = m_isStale ? 1000 : -1;

        pollfd waiting[] {
            { m_stop->reading.number(), POLLIN, 0 },
            { m_events->descriptor().number(), POLLIN, 0 },
        };
        while (::poll(waiting, 2, limitMilliseconds) < 0) {
            if (errno != EINTR)
                return false;
        }
        return waiting[0].revents == 0 && m_events->descriptor().isOurs()
            && m_requests->descriptor().isOurs();
    }

    // Reads all waiting messages; false when the socket no longer works.
    bool readEvents()
    {
        for (;;) {
            const auto reading = m_events->read([&](const nlmsghdr& message) {
                m_isStale = m_isStale || concernsConnection(message);
            });
            switch (reading) {
            case NetlinkSocket::Reading::messages:
                break;
            case NetlinkSocket::Reading::nothing:
                return true;
            case NetlinkSocket::Reading::lost:
                m_isStale = true;
                break;
            case NetlinkSocket::Reading::failed:
                return false;
            }
        }
    }

    const std::shared_ptr<State> m_state;
    std::unique_ptr<NetlinkSocket> m_events;
    std::unique_ptr<NetlinkSocket> m_requests;
    std::shared_ptr<const StopPipe> m_stop;
    // The published connection may be out of date.
    bool m_isStale = false;
};

LinuxNetworkWatcher::LinuxNetworkWatcher(SystemFiles files, RunSoon runSoon, DumpFunction dump)
    : m_runSoon(std::move(runSoon))
    , m_state(std::make_shared<State>(std::move(files), std::move(dump)))
{
}

LinuxNetworkWatcher::~LinuxNetworkWatcher()
{
    // A forked child shares the pipe and must not end its parent's thread.
    if (isForkedChild())
        return;
    const MutexLock lock(m_lock);
    if (m_stop && m_stop->writing.isOurs())
        static_cast<void>(::write(m_stop->writing.number(), "", 1) == 1);
}

bool LinuxNetworkWatcher::isAvailable()
{
    return m_isAvailable.get([] { return NetlinkSocket::open(0) != nullptr; });
}

bool LinuxNetworkWatcher::start()
{
    if (isForkedChild())
        return false;
    const MutexLock lock(m_lock);
    if (m_state->isWatching)
        return true;
    try {
        auto session = Session::open(m_state);
        if (!session)
            return false;
        m_stop = session->stop();
        m_runSoon([session = std::move(session)]() mutable {
            startDetachedThread(
                "telvora-netlink", [session = std::move(session)] { session->watch(); });
        });
        return true;
    } catch (const std::bad_alloc&) {
        return false;
    }
}

Connection LinuxNetworkWatcher::connection()
{
    const bool isKnown
        = m_state->isFresh() || isForkedChild() || (!m_state->isWatching && isInUse() && start());
    if (!isKnown) {
        Connection connection = Connection::none;
        if (const auto socket = NetlinkSocket::open(0))
            m_state->readConnection(*socket, connection);
        return connection;
    }
    return m_state->connection.load(std::memory_order_acquire);
}

void LinuxNetworkWatcher::addListener(std::weak_ptr<Listener> listener)
{
    m_state->listeners.with([&](auto& listeners) {
        std::erase_if(listeners, [](const auto& known) { return known.expired(); });
        listeners.push_back(std::move(listener));
    });
}

} // namespace telvora::detail
