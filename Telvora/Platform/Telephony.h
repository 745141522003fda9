#pragma once

#include <Telvora/Base/Export.h>

#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace telvora {

/// The provider of a cellular service. Without a SIM the country code is absent.
struct Carrier {
    /// The name that users know, such as "Example Mobile"; absent when it is not known.
    std::optional<std::string> carrierName;
    /// ISO 3166-1 alpha-2, such as "de".
    std::optional<std::string> isoCountryCode;
};

/// The cellular services of the device. Each list has pairs of a service identifier and its value,
/// in the system's order. It is absent if the system has no telephony.
///
/// Used by TrackerDataExcavator (the carriers) and TrackNetworkStatus (the radio technologies).
///
/// Threads: any. Both are read on the host's thread, so they must only read a snapshot.
///
/// Implementations: Host/HostTelephony, Simulated/ScriptedTelephony.
class TELVORA_EXPORT Telephony {
public:
    /// Pairs of a service identifier and its carrier.
    using Carriers = std::vector<std::pair<std::string, Carrier>>;
    /// Values are the full constants, such as "CTRadioAccessTechnologyLTE".
    using RadioTechnologies = std::vector<std::pair<std::string, std::string>>;

    virtual ~Telephony() = default;

    /// The carrier of each service.
    virtual std::optional<Carriers> serviceSubscriberCellularProviders() const = 0;
    /// The radio technology of each service that is connected.
    virtual std::optional<RadioTechnologies> serviceCurrentRadioAccessTechnology() const = 0;
};

} // namespace telvora
