#pragma once

#include <Telvora/Base/Guarded.h>
#include <Telvora/Platform/NotificationCenter.h>

#include <cstdint>
#include <memory>
#include <vector>

namespace telvora {

/// The centre that a host on Linux posts to; nothing else posts here, since no Linux desktop has
/// one notion of an application in the background.
///
/// During a post, an observer removed by an earlier one is not called any more, and one added is
/// called from the next post on.
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
        /// In the order of their numbers.
        std::vector<Registration> list;
        std::uint64_t nextNumber = 0;
    };

    /// The oldest registration for `notification` numbered from `first` up to, not including,
    /// `end`; moves `first` past it. Null when there is none left.
    Handler nextHandler(Notification notification, std::uint64_t& first, std::uint64_t end) const;

    detail::Guarded<Registrations> m_registrations;
};

} // namespace telvora
