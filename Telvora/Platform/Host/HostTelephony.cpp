#include <Telvora/Platform/Host/HostTelephony.h>

#include <utility>

namespace telvora {

void HostTelephony::publish(Snapshot snapshot)
{
    m_snapshot.set(std::make_shared<const Snapshot>(std::move(snapshot)));
}

std::optional<Telephony::Carriers> HostTelephony::serviceSubscriberCellularProviders() const
{
    const auto snapshot = m_snapshot.get();
    return snapshot ? snapshot->carriers : std::nullopt;
}

std::optional<Telephony::RadioTechnologies>
HostTelephony::serviceCurrentRadioAccessTechnology() const
{
    const auto snapshot = m_snapshot.get();
    return snapshot ? snapshot->radioTechnologies : std::nullopt;
}

} // namespace telvora
