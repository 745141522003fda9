#pragma once

#include <Telvora/Base/Export.h>

#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace telvora {

/// Who provides a cellular service. An absent country code means that there is no SIM.
struct Carrier {
    std::optional<std::string> carrierName;
    /// ISO 3166-1 alpha-2.
    std::optional<std::string> isoCountryCode;
};

/// The cellular services of the device. Each list pairs a service identifier with its value, in
/// the system's own order, and is absent where the system has no telephony at all.
///
/// Threads: any; both are read on the host's thread and must be snapshots.
///
/// Implementations: Host/HostTelephony, Simulated/ScriptedTelephony.
class TELVORA_EXPORT Telephony {
public:
    using Carriers = std::vector<std::pair<std::string, Carrier>>;
    /// Values are the full constants, such as "CTRadioAccessTechnologyLTE".
    using RadioTechnologies = std::vector<std::pair<std::string, std::string>>;

    virtual ~Telephony() = default;

    virtual std::optional<Carriers> serviceSubscriberCellularProviders() const = 0;
    virtual std::optional<RadioTechnologies> serviceCurrentRadioAccessTechnology() const = 0;
};

} // namespace telvora
