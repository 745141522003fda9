#pragma once

#include <Telvora/Base/Export.h>

#include <functional>
#include <memory>

namespace telvora {

/// The kind of connection that the device has now, with callbacks for its changes.
///
/// Used by TrackNetworkStatus (held) and TrackerDataExcavator (one reading).
///
/// Life: made by ReachabilityService. The notifier is off until started. Destroying the object
/// ends its callbacks.
///
/// Threads: every operation from any thread. connection() is called on the host's thread for every
/// event with a network stamp, so while a notifier runs it must only read a snapshot; before that
/// it may ask the system. The callbacks are called on the main queue (Dispatch::mainAsync).
class TELVORA_EXPORT Reachability {
public:
    /// How the device is connected.
    enum class Connection {
        /// It is not connected.
        none,
        /// Over Wi-Fi or a cable.
        wifi,
        /// Over a cellular network.
        cellular,
    };

    /// Gets the connection at the time of the call.
    using Callback = std::function<void(Connection)>;

    virtual ~Reachability() = default;

    /// The connection now.
    virtual Connection connection() const = 0;

    /// Begins to call the callbacks. False when that fails.
    virtual bool startNotifier() = 0;
    /// Ends the callbacks until the next start.
    virtual void stopNotifier() = 0;

    /// `callback` is called once for each change to Wi-Fi or cellular while the notifier runs, also
    /// from one to the other. The connection at the start of the notifier is not reported.
    virtual void setWhenReachable(Callback callback) = 0;
    /// `callback` is called once for each change to no connection.
    virtual void setWhenUnreachable(Callback callback) = 0;
};

/// Makes Reachability objects.
///
/// Implementations: Linux/Network/LinuxReachability (rtnetlink), Simulated/ScriptedReachability.
class TELVORA_EXPORT ReachabilityService {
public:
    /// Whether the object is held for the life of the process or serves one reading.
    enum class Use {
        /// Held for the life of the process.
        held,
        /// Asked once and destroyed.
        oneReading,
    };

    virtual ~ReachabilityService() = default;

    /// A new object; null when it cannot be made.
    virtual std::unique_ptr<Reachability> makeReachability(Use use) = 0;
};

} // namespace telvora
