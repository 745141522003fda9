#include <Telvora/Platform/Linux/LinuxNotificationCenter.h>

#include <algorithm>
#include <utility>

namespace telvora {

void LinuxNotificationCenter::addObserver(
    const void* observer, Notification notification, std::function<void()> handler)
{
    auto shared = std::make_shared<const std::function<void()>>(std::move(handler));
    MutexLock lock(m_lock);
    m_registrations.push_back({ m_nextNumber++, observer, notification, std::move(shared) });
}

void LinuxNotificationCenter::removeObserver(const void* observer, Notification notification)
{
    // What a handler captured is the host's and may do anything as it goes: not under the lock.
    std::vector<Registration> removed;
    MutexLock lock(m_lock);
    const auto end = std::stable_partition(
        m_registrations.begin(), m_registrations.end(), [&](const Registration& registration) {
            return registration.observer != observer || registration.notification != notification;
        });
    removed.assign(std::make_move_iterator(end), std::make_move_iterator(m_registrations.end()));
    m_registrations.erase(end, m_registrations.end());
}

void LinuxNotificationCenter::post(Notification notification)
{
    std::uint64_t first = 0;
    std::uint64_t end = 0;
    {
        MutexLock lock(m_lock);
        end = m_nextNumber;
    }
    while (const Handler handler = nextHandler(notification, first, end)) {
        if (*handler)
            (*handler)();
    }
}

LinuxNotificationCenter::Handler LinuxNotificationCenter::nextHandler(
    Notification notification, std::uint64_t& first, std::uint64_t end) const
{
    MutexLock lock(m_lock);
    for (const Registration& registration : m_registrations) {
        const bool isDue = registration.number >= first && registration.number < end
            && registration.notification == notification;
        if (isDue) {
            first = registration.number + 1;
            return registration.handler;
        }
    }
    return nullptr;
}

} // namespace telvora
