#pragma once

#include <Telvora/Base/Guarded.h>
#include <Telvora/Platform/Telephony.h>

#include <memory>

namespace telvora {

/// The cellular services as whoever watches the modems last saw them; absent lists, the answer of
/// a machine without telephony, until somebody does.
///
/// Threads: any may read and any may publish. A reader takes a copy of one consistent snapshot
/// and never waits for a modem.
class TELVORA_EXPORT HostTelephony final : public Telephony {
public:
    struct Snapshot {
        std::optional<Carriers> carriers;
        std::optional<RadioTechnologies> radioTechnologies;
    };

    /// Replaces what readers see from now on.
    void publish(Snapshot snapshot);

    std::optional<Carriers> serviceSubscriberCellularProviders() const override;
    std::optional<RadioTechnologies> serviceCurrentRadioAccessTechnology() const override;

private:
    /// Null until the first snapshot.
    detail::Guarded<std::shared_ptr<const Snapshot>> m_snapshot;
};

} // namespace telvora
