#pragma once

#include <Telvora/Base/Guarded.h>
#include <Telvora/Platform/Telephony.h>

#include <memory>

namespace telvora {

/// The cellular services as the host last published them. Until then the lists are absent, as on a
/// machine without telephony.
///
/// Threads: any. A reader gets a copy of one consistent snapshot and never waits for a modem.
class TELVORA_EXPORT HostTelephony final : public Telephony {
public:
    /// What Telephony returns, at one moment.
    struct Snapshot {
        /// serviceSubscriberCellularProviders().
        std::optional<Carriers> carriers;
        /// serviceCurrentRadioAccessTechnology().
        std::optional<RadioTechnologies> radioTechnologies;
    };

    /// Replaces the snapshot.
    void publish(Snapshot snapshot);

    std::optional<Carriers> serviceSubscriberCellularProviders() const override;
    std::optional<RadioTechnologies> serviceCurrentRadioAccessTechnology() const override;

private:
    // Null until the first snapshot.
    detail::Guarded<std::shared_ptr<const Snapshot>> m_snapshot;
};

} // namespace telvora
