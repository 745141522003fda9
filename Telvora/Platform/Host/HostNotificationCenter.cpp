#include <Telvora/Platform/Host/HostNotificationCenter.h>

#include <utility>

namespace telvora {

void HostNotificationCenter::addObserver(
    const void* observer, Notification notification, std::function<void()> handler)
{
    auto shared = std::make_shared<const std::function<void()>>(std::move(handler));
    m_registrations.with([&](Registrations& registrations) {
        registrations.list.push_back(
            { registrations.nextNumber++, observer, notification, std::move(shared) });
    });
}

void HostNotificationCenter::removeObserver(const void* observer, Notification notification)
{
    // The destructors of what a handler captured are the host's, so they must not run under the
    // lock.
    std::vector<Registration> removed;
    m_registrations.with([&](Registrations& registrations) {
        std::vector<Registration> kept;
        kept.reserve(registrations.list.size());
        removed.reserve(registrations.list.size());
        for (Registration& one : registrations.list) {
            const bool isRemoved = one.observer == observer && one.notification == notification;
            (isRemoved ? removed : kept).push_back(std::move(one));
        }
        registrations.list = std::move(kept);
    });
}

void HostNotificationCenter::post(Notification notification)
{
    std::uint64_t first = 0;
    const std::uint64_t end = m_registrations.with(
        [](Registrations& registrations) { return registrations.nextNumber; });
    while (const Handler handler = nextHandler(notification, first, end)) {
        if (*handler)
            (*handler)();
    }
}

HostNotificationCenter::Handler HostNotificationCenter::nextHandler(
    Notification notification, std::uint64_t& first, std::uint64_t end) const
{
    return m_registrations.with([&](const Registrations& registrations) -> Handler {
        for (const Registration& one : registrations.list) {
            if (one.number < first || one.number >= end || one.notification != notification)
                continue;
            first = one.number + 1;
            return one.handler;
        }
        return nullptr;
    });
}

} // namespace telvora
