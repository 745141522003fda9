#pragma once

#include <Telvora/Base/Guarded.h>
#include <Telvora/Platform/Host/HostNotificationCenter.h>
#include <Telvora/Platform/NotificationCenter.h>
#include <Telvora/Platform/Simulated/Observer.h>

#include <cstddef>
#include <functional>
#include <utility>
#include <vector>

namespace telvora {

/// A NotificationCenter that records its registrations and reports them. The test posts.
class TELVORA_EXPORT RecordingNotificationCenter final : public NotificationCenter {
public:
    /// addObserver() or removeObserver().
    enum class Action {
        /// addObserver().
        observe,
        /// removeObserver().
        unobserve,
    };

    void addObserver(
        const void* observer, Notification notification, std::function<void()> handler) override;
    void removeObserver(const void* observer, Notification notification) override;
    void post(Notification notification) override;

    /// How many registrations for this notification there are now.
    std::size_t registrationCount(Notification notification) const;

    /// Called for each registration and each removal, once for each notification.
    void setObservationObserver(std::function<void(Action, Notification)> observer);

private:
    using Registration = std::pair<const void*, Notification>;

    HostNotificationCenter m_center;
    detail::Guarded<std::vector<Registration>> m_registrations;
    Observer<Action, Notification> m_observationObserver;
};

} // namespace telvora
