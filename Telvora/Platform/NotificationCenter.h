#pragma once

#include <Telvora/Base/Export.h>

#include <functional>

namespace telvora {

/// The two moves of an application that the library follows.
enum class Notification {
    didEnterBackground,
    willEnterForeground,
};

/// Where the host tells the library that the application moves. A host without such a centre of
/// its own calls post() from wherever it learns of the move.
///
/// Threads: any. A post runs the observers on the posting thread, in the order of their
/// registration, before it returns; the host posts from its main thread. Observers are called
/// without any lock held and may register and remove.
///
/// Deliberate: registering one observer twice for a notification makes it hear each post twice.
///
/// Implementations: Host/HostNotificationCenter, Simulated/RecordingNotificationCenter.
class TELVORA_EXPORT NotificationCenter {
public:
    virtual ~NotificationCenter() = default;

    /// `observer` is only an identity to remove by; it is never dereferenced.
    virtual void addObserver(
        const void* observer, Notification notification, std::function<void()> handler)
        = 0;

    /// Removes every registration of `observer` for `notification`.
    virtual void removeObserver(const void* observer, Notification notification) = 0;

    virtual void post(Notification notification) = 0;
};

} // namespace telvora
