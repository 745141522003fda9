#pragma once

#include <Telvora/Base/Mutex.h>
#include <Telvora/Base/OnceValue.h>
#include <Telvora/Base/Work.h>
#include <Telvora/Platform/Linux/Machine/SystemFiles.h>
#include <Telvora/Platform/Linux/Network/NetlinkSocket.h>
#include <Telvora/Platform/Linux/Process/Descriptor.h>
#include <Telvora/Platform/Reachability.h>

#include <cstdint>
#include <functional>
#include <memory>

namespace telvora::detail {

/// Keeps the kind of connection up to date from the kernel's routing messages, on its own thread
/// ("telvora-netlink"), which sleeps until the kernel sends a message.
///
/// Life: idle until start(), or until connection() is called after the library's first use. Before
/// that, each connection() asks the kernel and no thread is started. The destructor ends the thread
/// without waiting for it; later changes are not reported.
///
/// Deliberate: start() takes the first reading and leaves it to a block to start the thread. A
/// thread costs as much as the rest of the start, and the first event of a process need not wait
/// for this one: until it runs, the messages of the kernel wait in the socket.
///
/// Threads: every operation from any thread. While the thread watches, connection() is an atomic
/// load.
///
/// Failure: isAvailable() is false when the kernel refuses its messages. A thread that loses its
/// descriptors (some programs close every descriptor that they did not open) ends; the next
/// connection() starts another. As long as no thread could be started, connection() asks the
/// kernel.
///
/// Fork: a child that is forked after start() keeps the reading of that moment.
class LinuxNetworkWatcher {
public:
    using Connection = Reachability::Connection;

    /// Called for each change, on the watching thread. Must return quickly.
    class Listener {
    public:
        virtual ~Listener() = default;
        virtual void connectionDidChange(Connection now) = 0;
    };

    /// How the watcher asks the kernel. Tests give another function; the watching thread calls it
    /// too.
    using DumpFunction = std::function<NetlinkSocket::Dump(
        NetlinkSocket&, std::uint16_t type, NetlinkSocket::Visitor visit)>;

    /// Runs a block soon, on a thread of the library's.
    using RunSoon = std::function<void(Work)>;

    /// `files`: where /sys/class/net is looked up.
    LinuxNetworkWatcher(
        SystemFiles files, RunSoon runSoon, DumpFunction dump = &NetlinkSocket::dump);
    ~LinuxNetworkWatcher();

    LinuxNetworkWatcher(const LinuxNetworkWatcher&) = delete;
    LinuxNetworkWatcher& operator=(const LinuxNetworkWatcher&) = delete;

    /// Whether the kernel gives this process its messages. Tried once.
    bool isAvailable();

    /// Takes a first reading and begins to watch, in the network namespace of the calling thread.
    /// False when the kernel refuses its messages or there is no memory.
    bool start() TELVORA_EXCLUDES(m_lock);

    /// The connection now; none when the kernel does not answer.
    Connection connection();

    /// A destroyed listener is removed by itself.
    void addListener(std::weak_ptr<Listener> listener);

private:
    struct State;
    struct StopPipe;
    class Session;

    const RunSoon m_runSoon;
    Mutex m_lock;
    // Writing to it ends the thread. Null before start().
    std::shared_ptr<const StopPipe> m_stop TELVORA_GUARDED_BY(m_lock);
    OnceValue<bool> m_isAvailable;
    // Shared with the thread, which may outlive the watcher briefly.
    const std::shared_ptr<State> m_state;
};

} // namespace telvora::detail
