#include <Telvora/Platform/Simulated/RecordingNotificationCenter.h>

#include <algorithm>
#include <iterator>
#include <utility>

namespace telvora {

void RecordingNotificationCenter::addObserver(
    const void* observer, Notification notification, std::function<void()> handler)
{
    auto shared = std::make_shared<const std::function<void()>>(std::move(handler));
    {
        MutexLock lock(m_lock);
        m_registrations.push_back({ m_nextNumber++, observer, notification, std::move(shared) });
    }
    m_observationObserver(Action::observe, notification);
}

void RecordingNotificationCenter::removeObserver(const void* observer, Notification notification)
{
    // Destroyed after the lock is given back: a handler's captures may do anything as they go.
    std::vector<Registration> removed;
    {
        MutexLock lock(m_lock);
        const auto end = std::stable_partition(
            m_registrations.begin(), m_registrations.end(), [&](const Registration& registration) {
                return registration.observer != observer
                    || registration.notification != notification;
            });
        removed.assign(
            std::make_move_iterator(end), std::make_move_iterator(m_registrations.end()));
        m_registrations.erase(end, m_registrations.end());
    }
    m_observationObserver(Action::unobserve, notification);
}

void RecordingNotificationCenter::post(Notification notification)
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

RecordingNotificationCenter::Handler RecordingNotificationCenter::nextHandler(
    Notification notification, std::uint64_t& first, std::uint64_t end) const
{
    MutexLock lock(m_lock);
    const auto next = std::find_if(
        m_registrations.begin(), m_registrations.end(), [&](const Registration& registration) {
            return registration.number >= first && registration.number < end
                && registration.notification == notification;
        });
    if (next == m_registrations.end())
        return nullptr;
    first = next->number + 1;
    return next->handler;
}

std::size_t RecordingNotificationCenter::registrationCount(Notification notification) const
{
    MutexLock lock(m_lock);
    return static_cast<std::size_t>(std::count_if(
        m_registrations.begin(), m_registrations.end(), [&](const Registration& registration) {
            return registration.notification == notification;
        }));
}

void RecordingNotificationCenter::setObservationObserver(
    std::function<void(Action, Notification)> observer)
{
    m_observationObserver.set(std::move(observer));
}

} // namespace telvora
