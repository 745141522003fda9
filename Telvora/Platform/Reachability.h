#pragma once

#include <Telvora/Base/Export.h>

#include <functional>
#include <memory>

namespace telvora {

/// The kind of connection the device has now, and word of its changes.
///
/// Life: made by ReachabilityService. The notifier is off until started. Destroying the object
/// ends its callbacks.
///
/// Threads: every operation from any thread; connection() is read on the host's thread for every
/// stamped event and must cost no more than a look at a snapshot. The callbacks come on the main
/// queue (Dispatch::mainAsync).
class TELVORA_EXPORT Reachability {
public:
    enum class Connection {
        none,
        wifi,
        cellular,
    };

    /// Told the connection at the time of the call.
    using Callback = std::function<void(Connection)>;

    virtual ~Reachability() = default;

    virtual Connection connection() const = 0;

    /// False when watching cannot be started.
    virtual bool startNotifier() = 0;
    virtual void stopNotifier() = 0;

    /// Called once for each change of the connection to Wi-Fi or cellular, from one to the other
    /// too, while the notifier runs. Changes only: what the notifier finds when it is started is
    /// no change and is not reported.
    virtual void setWhenReachable(Callback callback) = 0;
    /// The same for a change to none.
    virtual void setWhenUnreachable(Callback callback) = 0;
};

/// Makes Reachability objects.
///
/// Implementations: Linux/Network/LinuxReachability (rtnetlink), Simulated/ScriptedReachability.
class TELVORA_EXPORT ReachabilityService {
public:
    /// What an object is made for: to be held for the life of the process, or for one reading.
    enum class Use {
        held,
        oneReading,
    };

    virtual ~ReachabilityService() = default;

    /// Null when the object cannot be created.
    virtual std::unique_ptr<Reachability> makeReachability(Use use) = 0;
};

} // namespace telvora
