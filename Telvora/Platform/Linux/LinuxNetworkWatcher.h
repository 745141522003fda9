#pragma once

#include <Telvora/Base/Mutex.h>
#include <Telvora/Platform/Linux/SystemFiles.h>
#include <Telvora/Platform/Reachability.h>

#include <atomic>
#include <memory>
#include <vector>

namespace telvora {

/// Keeps the kind of connection up to date from the kernel's routing messages, on one thread of
/// its own ("telvora-netlink") that sleeps until the kernel has something to say.
///
/// Life: idle until start(). Destroying it ends the thread, without waiting for it; listeners hear
/// nothing that changes later.
///
/// Threads: every operation from any thread. connection() is an atomic load.
///
/// Failure: where the kernel's messages cannot be had start() is false and may be tried again. A
/// thread that loses its sockets (some programs close every descriptor they did not open) ends and
/// leaves the last reading; the next start() makes another.
///
/// Fork: a child keeps the reading of the moment it was made.
class LinuxNetworkWatcher {
public:
    /// Hears of changes, on the watching thread, which it must not hold up.
    class Listener {
    public:
        virtual ~Listener() = default;
        virtual void connectionDidChange(Reachability::Connection now) = 0;
    };

    /// `files`: where /sys/class/net is looked up.
    explicit LinuxNetworkWatcher(SystemFiles files);
    ~LinuxNetworkWatcher();

    LinuxNetworkWatcher(const LinuxNetworkWatcher&) = delete;
    LinuxNetworkWatcher& operator=(const LinuxNetworkWatcher&) = delete;

    /// Takes a first reading before it returns and keeps it fresh from then on, in the network
    /// namespace of the calling thread. Costs one load when it is running already.
    bool start() TELVORA_EXCLUDES(m_lock);

    /// Requires: start() was true once.
    Reachability::Connection connection() const;

    /// A listener that is destroyed is forgotten.
    void addListener(std::weak_ptr<Listener> listener);

private:
    struct State;
    class Session;

    Mutex m_lock;
    /// Shared with the thread, which may outlive the watcher by a moment.
    const std::shared_ptr<State> m_state;
};

} // namespace telvora
