#pragma once

#include <Telvora/Base/Mutex.h>
#include <Telvora/Base/OnceValue.h>
#include <Telvora/Platform/Linux/Machine/SystemFiles.h>
#include <Telvora/Platform/Linux/Process/Descriptor.h>
#include <Telvora/Platform/Reachability.h>

#include <memory>

namespace telvora::detail {

/// Keeps the kind of connection up to date from the kernel's routing messages, on one thread of
/// its own ("telvora-netlink") that sleeps until the kernel has something to say.
///
/// Life: idle until start(), or until the connection is asked for while the library is in use;
/// before that, each question is put to the kernel, and no thread is started. Destroying the
/// watcher ends the thread, without waiting for it; listeners hear nothing that changes later.
///
/// Threads: every operation from any thread. While the thread watches, connection() is an atomic
/// load.
///
/// Failure: where the kernel's messages cannot be had, isAvailable() is false. A thread that loses
/// its descriptors (some programs close every descriptor they did not open) ends and leaves the
/// last reading; the next question starts another.
///
/// Fork: a child that is forked after the thread has started keeps the reading of that moment.
class LinuxNetworkWatcher {
public:
    using Connection = Reachability::Connection;

    /// Hears of changes, on the watching thread, which it must not hold up.
    class Listener {
    public:
        virtual ~Listener() = default;
        virtual void connectionDidChange(Connection now) = 0;
    };

    /// `files`: where /sys/class/net is looked up.
    explicit LinuxNetworkWatcher(SystemFiles files);
    ~LinuxNetworkWatcher();

    LinuxNetworkWatcher(const LinuxNetworkWatcher&) = delete;
    LinuxNetworkWatcher& operator=(const LinuxNetworkWatcher&) = delete;

    /// Whether this process may ask the kernel at all. Tried once.
    bool isAvailable();

    /// Takes a first reading before it returns and keeps it fresh from then on, in the network
    /// namespace of the calling thread. False when it cannot.
    bool start() TELVORA_EXCLUDES(m_lock);

    /// None where the kernel does not answer.
    Connection connection();

    /// A listener that is destroyed is forgotten.
    void addListener(std::weak_ptr<Listener> listener);

private:
    struct State;
    class Session;

    Mutex m_lock;
    /// Something written here ends the thread.
    Descriptor m_stop TELVORA_GUARDED_BY(m_lock);
    OnceValue<bool> m_isAvailable;
    /// Shared with the thread, which may outlive the watcher by a moment.
    const std::shared_ptr<State> m_state;
};

} // namespace telvora::detail
