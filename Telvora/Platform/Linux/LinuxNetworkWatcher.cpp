#include <Telvora/Platform/Linux/LinuxNetworkWatcher.h>

#include <Telvora/Platform/Linux/LinuxThread.h>
#include <Telvora/Platform/Linux/NetlinkSocket.h>
#include <Telvora/Platform/Linux/NetworkPicture.h>

#include <algorithm>
#include <cerrno>
#include <cstdint>
#include <utility>

#include <linux/rtnetlink.h>
#include <poll.h>
#include <sys/eventfd.h>
#include <sys/socket.h>
#include <unistd.h>

namespace telvora {

struct LinuxNetworkWatcher::State {
    explicit State(SystemFiles theFiles)
        : files(std::move(theFiles))
    {
    }

    ~State()
    {
        if (stopEvent >= 0)
            ::close(stopEvent);
    }

    State(const State&) = delete;
    State& operator=(const State&) = delete;

    void publish(Reachability::Connection now) TELVORA_EXCLUDES(lock)
    {
        if (connection.exchange(now) == now)
            return;
        for (const auto& weak : liveListeners()) {
            if (const auto listener = weak.lock())
                listener->connectionDidChange(now);
        }
    }

    std::vector<std::weak_ptr<Listener>> liveListeners() TELVORA_EXCLUDES(lock)
    {
        MutexLock hold(lock);
        std::erase_if(listeners, [](const auto& listener) { return listener.expired(); });
        return listeners;
    }

    const SystemFiles files;
    const int stopEvent = ::eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK);
    /// A child that was forked shares the descriptors and must not stop its parent's thread.
    const pid_t process = ::getpid();
    std::atomic<Reachability::Connection> connection { Reachability::Connection::none };
    std::atomic<bool> isWatching { false };

    Mutex lock;
    std::vector<std::weak_ptr<Listener>> listeners TELVORA_GUARDED_BY(lock);
};

/// One run of the watching thread: its sockets and what it knows.
class LinuxNetworkWatcher::Session {
public:
    /// Null when the kernel's messages cannot be had.
    static std::unique_ptr<Session> open(std::shared_ptr<State> state)
    {
        std::unique_ptr<Session> session(new Session(std::move(state)));
        // Subscribed before the first reading: what changes in between is then heard of.
        session->m_events
            = NetlinkSocket::open(RTMGRP_LINK | RTMGRP_IPV4_ROUTE | RTMGRP_IPV6_ROUTE);
        session->m_requests = NetlinkSocket::open(0);
        const bool isOpen = session->m_state->stopEvent >= 0 && session->m_events
            && session->m_requests && session->takePicture();
        return isOpen ? std::move(session) : nullptr;
    }

    /// Returns when the watcher is gone or the sockets are of no more use.
    void watch()
    {
        bool isStale = false;
        while (waitForEvents(isStale)) {
            if (!readEvents(isStale))
                break;
            // All at once, when the kernel has fallen silent: changes come in swarms. A link that
            // goes down takes its IPv4 routes with it without a word, so everything is asked for.
            if (isStale)
                isStale = !takePicture();
        }
        m_state->isWatching = false;
    }

private:
    explicit Session(std::shared_ptr<State> state)
        : m_state(std::move(state))
    {
    }

    bool takePicture()
    {
        // A dump during which something changed may miss an object that did not.
        static constexpr int attempts = 8;

        for (int attempt = 0; attempt < attempts; ++attempt) {
            NetworkPicture picture;
            const auto add = [&](const nlmsghdr& message) { picture.add(message); };
            const bool isWhole = m_requests->dump(RTM_GETLINK, AF_UNSPEC, add)
                && m_requests->dump(RTM_GETROUTE, AF_INET, add)
                && m_requests->dump(RTM_GETROUTE, AF_INET6, add);
            if (isWhole) {
                m_picture = std::move(picture);
                m_state->publish(m_picture.connection(m_state->files));
                return true;
            }
        }
        return false;
    }

    bool waitForEvents(bool isStale) const
    {
        // With nothing left to do, no time limit: a machine at rest is not woken.
        const int limitMilliseconds = isStale ? 1000 : -1;

        pollfd waiting[] {
            { m_state->stopEvent, POLLIN, 0 },
            { m_events->descriptor(), POLLIN, 0 },
        };
        while (::poll(waiting, 2, limitMilliseconds) < 0) {
            if (errno != EINTR)
                return false;
        }
        return waiting[0].revents == 0 && (waiting[1].revents & POLLNVAL) == 0;
    }

    /// Reads all that is waiting; false when the socket is of no more use.
    bool readEvents(bool& isStale)
    {
        for (;;) {
            const auto reading = m_events->read([&](const nlmsghdr& message) {
                isStale = isStale || m_picture.isChangedBy(message);
            });
            switch (reading) {
            case NetlinkSocket::Reading::messages:
                break;
            case NetlinkSocket::Reading::nothing:
                return true;
            case NetlinkSocket::Reading::lost:
                isStale = true;
                break;
            case NetlinkSocket::Reading::failed:
                return false;
            }
        }
    }

    const std::shared_ptr<State> m_state;
    std::unique_ptr<NetlinkSocket> m_events;
    std::unique_ptr<NetlinkSocket> m_requests;
    NetworkPicture m_picture;
};

LinuxNetworkWatcher::LinuxNetworkWatcher(SystemFiles files)
    : m_state(std::make_shared<State>(std::move(files)))
{
}

LinuxNetworkWatcher::~LinuxNetworkWatcher()
{
    const std::uint64_t one = 1;
    if (::getpid() == m_state->process)
        static_cast<void>(::write(m_state->stopEvent, &one, sizeof one) == sizeof one);
}

bool LinuxNetworkWatcher::start()
{
    if (m_state->isWatching)
        return true;

    MutexLock lock(m_lock);
    if (m_state->isWatching)
        return true;
    auto session = Session::open(m_state);
    if (!session)
        return false;
    m_state->isWatching = true;
    const bool isStarted = startDetachedThread(
        "telvora-netlink", [session = std::move(session)] { session->watch(); });
    if (!isStarted)
        m_state->isWatching = false;
    return isStarted;
}

Reachability::Connection LinuxNetworkWatcher::connection() const
{
    return m_state->connection.load(std::memory_order_acquire);
}

void LinuxNetworkWatcher::addListener(std::weak_ptr<Listener> listener)
{
    MutexLock hold(m_state->lock);
    std::erase_if(m_state->listeners, [](const auto& known) { return known.expired(); });
    m_state->listeners.push_back(std::move(listener));
}

} // namespace telvora
