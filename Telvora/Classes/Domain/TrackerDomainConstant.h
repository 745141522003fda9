#pragma once

#include <Telvora/Base/Export.h>

#include <optional>
#include <string_view>

/// The words of the wire: enumerations whose raw values are texts that other programs read.
namespace telvora {

/// The channels a host registers, by the index under which they are addressed.
enum class DefaultIndex {
    APM,
    MP,
    E2E,
    Sentry,
};

/// "APM", "MP", "E2E", "Sentry"; here and below empty for a value that is none of the cases.
TELVORA_EXPORT std::string_view rawValue(DefaultIndex index);

/// Absent for any other text; case matters.
TELVORA_EXPORT std::optional<DefaultIndex> defaultIndex(std::string_view rawValue);

/// The kind of network, as the channels report it.
enum class TrackNetworkStatusType {
    network_2g,
    network_3g,
    network_4g,
    network_5g,
    network_wifi,
    unknown,
    none,
};

/// "2G", "3G", "4G", "5G", "WIFI", "unknown", "none".
TELVORA_EXPORT std::string_view rawValue(TrackNetworkStatusType type);

/// The case's own name, for people and tools: "network_2g".
TELVORA_EXPORT std::string_view caseName(TrackNetworkStatusType type);

/// Absent for any other text; case matters.
TELVORA_EXPORT std::optional<TrackNetworkStatusType> trackNetworkStatusType(
    std::string_view rawValue);

/// The members of a network status as JSON.
namespace NetworkStatusCodingKey {
inline constexpr std::string_view isConnected = "isConnected";
inline constexpr std::string_view networkType = "networkType";
} // namespace NetworkStatusCodingKey

} // namespace telvora
