#pragma once

#include <Telvora/Base/Guarded.h>
#include <Telvora/Platform/NotificationCenter.h>

#include <cstdint>
#include <memory>
#include <vector>

namespace telvora {

/// The notification centre that a host posts to, for a system that does not itself tell
/// applications when they enter the background. Only the host posts.
///
/// An observer that another one removes during a post is not called any more. An observer that is
/// added during a post is called from the next post on.
class TELVORA_EXPORT HostNotificationCenter final : public NotificationCenter {
public:
    void addObserver(
        const void* observer, Notification notification, std::function<void()> handler) override;
    void removeObserver(const void* observer, Notification notification) override;
    void post(Notification notification) override;

private:
    using Handler = std::shared_ptr<const std::function<void()>>;

    struct Registration {
        std::uint64_t number;
        const void* observer;
        Notification notification;
        Handler handler;
    };

    struct Registrations {
        // In the order of their numbers.
        std::vector<Registration> list;
        std::uint64_t nextNumber = 0;
    };

    // The handler of the oldest registration for `notification` with a number from `first` up to,
    // not including, `end`; sets `first` to the number after it. Null when there is none.
    Handler nextHandler(Notification notification, std::uint64_t& first, std::uint64_t end) const;

    detail::Guarded<Registrations> m_registrations;
};

} // namespace telvora
