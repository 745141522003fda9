#pragma once

#include <Telvora/Base/Mutex.h>
#include <Telvora/Platform/NotificationCenter.h>
#include <Telvora/Platform/Simulated/Observer.h>

#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <vector>

namespace telvora {

/// A NotificationCenter that remembers who observes what and tells of it. The test posts.
///
/// During a post, an observer removed by an earlier one is not called any more, and one added is
/// called from the next post on.
class TELVORA_EXPORT RecordingNotificationCenter final : public NotificationCenter {
public:
    enum class Action {
        observe,
        unobserve,
    };

    void addObserver(
        const void* observer, Notification notification, std::function<void()> handler) override;
    void removeObserver(const void* observer, Notification notification) override;
    void post(Notification notification) override;

    std::size_t registrationCount(Notification notification) const;

    /// Told of each registration and each request to remove, one a notification.
    void setObservationObserver(std::function<void(Action, Notification)> observer);

private:
    using Handler = std::shared_ptr<const std::function<void()>>;

    struct Registration {
        std::uint64_t number = 0;
        const void* observer = nullptr;
        Notification notification {};
        Handler handler {};
    };

    Handler nextHandler(Notification notification, std::uint64_t& first, std::uint64_t end) const;

    Observer<Action, Notification> m_observationObserver;
    mutable Mutex m_lock;
    // In the order of their numbers.
    std::vector<Registration> m_registrations TELVORA_GUARDED_BY(m_lock);
    std::uint64_t m_nextNumber TELVORA_GUARDED_BY(m_lock) = 0;
};

} // namespace telvora
