#pragma once

#include <Telvora/Base/Dictionary.h>
#include <Telvora/Base/Export.h>
#include <Telvora/Classes/Domain/TrackerDomainConstant.h>
#include <Telvora/Platform/Reachability.h>

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

namespace telvora {

/// Whether the device is connected, and over what kind of network.
///
/// Life: made afresh for each reading; nothing is cached.
/// Threads: a value without a lock.
struct TELVORA_EXPORT TrackNetworkStatus {
    /// False only without any connection.
    bool isConnected = false;
    /// `none` without a connection.
    TrackNetworkStatusType networkType = TrackNetworkStatusType::none;

    /// The status of a connection. Over a cellular one the type is the best one that any service
    /// uses, or `unknown` where no technology is known.
    static TrackNetworkStatus of(Reachability::Connection connection);

    /// {"isConnected":true,"networkType":"4G"}
    std::string encode() const;

    /// Reads what encode() writes. Absent unless `text` is an object with both members and the type
    /// is one of the seven texts.
    static std::optional<TrackNetworkStatus> decode(std::string_view text);

    /// Member by member.
    bool operator==(const TrackNetworkStatus&) const = default;
};

/// The type of a radio access technology, such as "CTRadioAccessTechnologyLTE"; absent for one that
/// is not known. The two 5G technologies are known only where the system's version is 14.1 or later
/// and the device is not earlier than iPhone 12.
///
/// Deliberate: CDMA1x counts as 3G.
TELVORA_EXPORT std::optional<TrackNetworkStatusType> cellularType(std::string_view technology);

/// 0 for 2G, 1 for 3G, 2 for 4G, 3 for 5G; absent for a type that is not cellular.
TELVORA_EXPORT std::optional<int> cellularRank(TrackNetworkStatusType type);

/// Whether the device is a phone older than iPhone 12, by the number in its identifier. A phone
/// whose identifier has no number counts as older. Computed once.
TELVORA_EXPORT bool isEarlierThanIPhone12();

/// Owns the manager's reachability object.
///
/// Life: made with the manager. Where the object cannot be created, there is none for the life of
/// the process.
/// Threads: any.
class TELVORA_EXPORT CommonTrackNetworkStatus {
public:
    /// Called on the thread that Reachability calls on. What it throws is caught and counted.
    using Handler = std::function<void(TrackNetworkStatus)>;

    CommonTrackNetworkStatus();
    /// Stops the notifier.
    ~CommonTrackNetworkStatus();

    /// Null when it could not be created.
    Reachability* reachability() const { return m_reachability.get(); }

    /// Installs the handler of changes in place of any earlier one. It gets the status at the time
    /// of the call. Without a reachability object, or with an empty handler, nothing happens.
    void onStatusChange(Handler handler);

private:
    std::unique_ptr<Reachability> m_reachability;
};

} // namespace telvora
