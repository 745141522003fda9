#include <Telvora/Platform/Simulated/RecordingNotificationCenter.h>

#include <Telvora/Platform/Simulated/CallOut.h>

#include <algorithm>

namespace telvora {

void RecordingNotificationCenter::addObserver(
    const void* observer, Notification notification, std::function<void()> handler)
{
    m_center.addObserver(observer, notification, std::move(handler));
    m_registrations.with([&](auto& list) { list.emplace_back(observer, notification); });
    m_observationObserver(Action::observe, notification);
}

void RecordingNotificationCenter::removeObserver(const void* observer, Notification notification)
{
    m_center.removeObserver(observer, notification);
    m_registrations.with(
        [&](auto& list) { std::erase(list, Registration(observer, notification)); });
    m_observationObserver(Action::unobserve, notification);
}

void RecordingNotificationCenter::post(Notification notification)
{
    const detail::CallOut callOut;
    m_center.post(notification);
}

std::size_t RecordingNotificationCenter::registrationCount(Notification notification) const
{
    return m_registrations.with([&](const auto& list) {
        return static_cast<std::size_t>(std::count_if(list.begin(), list.end(),
            [&](const Registration& one) { return one.second == notification; }));
    });
}

void RecordingNotificationCenter::setObservationObserver(
    std::function<void(Action, Notification)> observer)
{
    m_observationObserver.set(std::move(observer));
}

} // namespace telvora
