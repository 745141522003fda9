#include <Telvora/Platform/Linux/LinuxTelephony.h>

#include <utility>

namespace telvora {

void LinuxTelephony::publish(Snapshot snapshot)
{
    m_snapshot.set(std::make_shared<const Snapshot>(std::move(snapshot)));
}

std::optional<Telephony::Carriers> LinuxTelephony::serviceSubscriberCellularProviders() const
{
    const auto snapshot = m_snapshot.get();
    return snapshot ? snapshot->carriers : std::nullopt;
}

std::optional<Telephony::RadioTechnologies>
LinuxTelephony::serviceCurrentRadioAccessTechnology() const
{
    const auto snapshot = m_snapshot.get();
    return snapshot ? snapshot->radioTechnologies : std::nullopt;
}

} // namespace telvora
