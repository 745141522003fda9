#pragma once

#include <Telvora/Base/Export.h>

#include <functional>

namespace telvora {

/// The two state changes of an application that the library observes.
enum class Notification {
    /// The user has left the application, which still runs.
    didEnterBackground,
    /// The user is about to see it again.
    willEnterForeground,
};

/// Tells the library that the application enters the background or returns to the foreground. A
/// host without a notification centre of its own calls post() when it learns of the change.
///
/// Used by TrackerManager: start() adds its observers and stop() removes them.
///
/// Threads: any. A post runs the observers on the posting thread, in the order of their
/// registration, before it returns; the host posts from its main thread. Observers are called
/// without any lock held and may register and remove.
///
/// Deliberate: an observer that is registered twice for a notification is called twice for each
/// post.
///
/// Implementations: Host/HostNotificationCenter, Simulated/RecordingNotificationCenter.
class TELVORA_EXPORT NotificationCenter {
public:
    virtual ~NotificationCenter() = default;

    /// Calls `handler` on each post of `notification`. `observer` only identifies the registration
    /// for removeObserver(); it is never dereferenced.
    virtual void addObserver(
        const void* observer, Notification notification, std::function<void()> handler)
        = 0;

    /// Removes every registration of `observer` for `notification`.
    virtual void removeObserver(const void* observer, Notification notification) = 0;

    /// Calls the observers of `notification`.
    virtual void post(Notification notification) = 0;
};

} // namespace telvora
