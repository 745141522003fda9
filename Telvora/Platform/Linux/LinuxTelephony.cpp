#include <Telvora/Platform/Linux/LinuxTelephony.h>

#include <utility>

namespace telvora {

LinuxTelephony::LinuxTelephony()
    : m_snapshot(std::make_shared<const Snapshot>())
{
}

void LinuxTelephony::publish(Snapshot snapshot)
{
    auto next = std::make_shared<const Snapshot>(std::move(snapshot));
    MutexLock lock(m_lock);
    m_snapshot.swap(next);
}

std::optional<Telephony::Carriers> LinuxTelephony::serviceSubscriberCellularProviders() const
{
    return current()->carriers;
}

std::optional<Telephony::RadioTechnologies>
LinuxTelephony::serviceCurrentRadioAccessTechnology() const
{
    return current()->radioTechnologies;
}

std::shared_ptr<const LinuxTelephony::Snapshot> LinuxTelephony::current() const
{
    MutexLock lock(m_lock);
    return m_snapshot;
}

} // namespace telvora
