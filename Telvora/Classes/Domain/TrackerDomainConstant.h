#pragma once

#include <Telvora/Base/Export.h>

#include <optional>
#include <string_view>

/// Enumerations whose raw values are sent, and read by other programs.
///
/// Threads: any; there is no state.
namespace telvora {

/// The channels for which the library has operations. A channel is a stream of events with its own
/// collector address, batches and common data. Its index is the text by which the host registers it
/// and hands it events. A host may register channels under other indexes as well.
enum class DefaultIndex {
    /// Application performance monitoring: what the enroll operations of TrackerManager+Enroll.cpp
    /// measure (frames, page views, main thread blocks, first frames, page loads, launches), and
    /// the reports of reportAPMDict(). A reporting provider can take these reports instead.
    APM,
    /// Events of the host that are sent unchanged. The library gives them no "network" stamp, as
    /// it does for E2E and Sentry, and knows nothing of their content.
    MP,
    /// End to end: business events of the host, stamped with the kind of network.
    E2E,
    /// Events of the host that are stamped with the kind of network and that the host can direct to
    /// "APM" one by one. Its batches carry either the common data of the other channels or those of
    /// the front-end monitor.
    Sentry,
};

/// "APM", "MP", "E2E", "Sentry". Like the other texts below, empty for a value that is no case.
TELVORA_EXPORT std::string_view rawValue(DefaultIndex index);

/// Absent for any other text; case matters.
TELVORA_EXPORT std::optional<DefaultIndex> defaultIndex(std::string_view rawValue);

/// The kind of network, as the events of "E2E" and "Sentry" name it.
enum class TrackNetworkStatusType {
    /// Cellular, of the second generation.
    network_2g,
    /// Cellular, of the third.
    network_3g,
    /// Cellular, of the fourth.
    network_4g,
    /// Cellular, of the fifth.
    network_5g,
    /// Wi-Fi, or a cable.
    network_wifi,
    /// Cellular with a technology that is not known, or nothing is known of the network.
    unknown,
    /// No connection.
    none,
};

/// "2G", "3G", "4G", "5G", "WIFI", "unknown", "none".
TELVORA_EXPORT std::string_view rawValue(TrackNetworkStatusType type);

/// The name of the case, for logs and tools: "network_2g".
TELVORA_EXPORT std::string_view caseName(TrackNetworkStatusType type);

/// Absent for any other text; case matters.
TELVORA_EXPORT std::optional<TrackNetworkStatusType> trackNetworkStatusType(
    std::string_view rawValue);

/// The keys of a TrackNetworkStatus in JSON.
namespace NetworkStatusCodingKey {
/// Whether there is a network: a boolean.
inline constexpr std::string_view isConnected = "isConnected";
/// The raw value of a TrackNetworkStatusType: text.
inline constexpr std::string_view networkType = "networkType";
} // namespace NetworkStatusCodingKey

} // namespace telvora
