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
/// A value. Made afresh for every question; nothing is cached.
struct TELVORA_EXPORT TrackNetworkStatus {
    bool isConnected = false;
    TrackNetworkStatusType networkType = TrackNetworkStatusType::none;

    /// For a cellular connection the best of the radio technologies of all services counts, the
    /// first of equals; none known is `unknown`.
    static TrackNetworkStatus of(Reachability::Connection connection);

    /// {"isConnected":true,"networkType":"4G"}
    std::string encode() const;

    /// Absent unless `text` is an object with both members, the type being one of the seven texts.
    static std::optional<TrackNetworkStatus> decode(std::string_view text);

    bool operator==(const TrackNetworkStatus&) const = default;
};

/// The type of a radio access technology, named by its full constant; absent for one that is not
/// known. The two 5G technologies are known only on a system of 14.1 or later and a device that is
/// not earlier than iPhone 12.
///
/// Deliberate: CDMA1x counts as 3G.
TELVORA_EXPORT std::optional<TrackNetworkStatusType> cellularType(std::string_view technology);

/// 0 for 2G up to 3 for 5G; absent for a type without a rank.
TELVORA_EXPORT std::optional<int> cellularRank(TrackNetworkStatusType type);

/// By the number in the device's identifier; a phone whose identifier has none counts as earlier.
/// Computed once.
TELVORA_EXPORT bool isEarlierThanIPhone12();

/// Holds the long-lived reachability object.
///
/// Life: made with the manager. Where the object cannot be created, none is there for the life of
/// the process.
/// Threads: any.
class TELVORA_EXPORT CommonTrackNetworkStatus {
public:
    using Handler = std::function<void(TrackNetworkStatus)>;

    CommonTrackNetworkStatus();
    /// Stops the notifier.
    ~CommonTrackNetworkStatus();

    /// Null when it could not be created.
    Reachability* reachability() const { return m_reachability.get(); }

    /// Calls `handler` on every change from now on, in place of any earlier one.
    void onStatusChange(Handler handler);

private:
    std::unique_ptr<Reachability> m_reachability;
};

} // namespace telvora
