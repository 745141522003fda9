#include <Telvora/Start/ApplicationState.h>

#include <Telvora/Base/ForkedChild.h>
#include <Telvora/Platform/NotificationCenter.h>
#include <Telvora/Platform/Platform.h>

namespace telvora {

namespace {

void post(Notification notification) noexcept
{
    Platform* platform = detail::usedPlatform();
    if (!platform || detail::isForkedChild())
        return;
    try {
        platform->notificationCenter.post(notification);
    } catch (...) {
        // No event is lost: what was not flushed is still in its list.
    }
}

} // namespace

void enterBackground() noexcept
{
    post(Notification::didEnterBackground);
}

void enterForeground() noexcept
{
    post(Notification::willEnterForeground);
}

} // namespace telvora
