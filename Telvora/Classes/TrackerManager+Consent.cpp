#include <Telvora/Classes/TrackerManager.h>

#include <Telvora/Base/ForkedChild.h>
#include <Telvora/Classes/Diagnostics.h>
#include <Telvora/Classes/PendingEvents.h>
#include <Telvora/Classes/Uploads.h>

namespace telvora {

void TrackerManager::setEnabled(bool on)
{
    if (detail::isForkedChild())
        return;
    TrackerManager& manager = shared();
    detail::Uploads::shared().wantConsent(on);
    manager.m_queue->barrierAsync([&manager, on] {
        const bool wasDisabled = manager.m_isDisabled.exchange(!on, std::memory_order_relaxed);
        // On again too: the host may have inserted a retry entry meanwhile.
        if (!on || wasDisabled)
            manager.dropAll(DropReason::disabled);
        if (on)
            detail::Uploads::shared().renewConsent();
    });
}

// All that is pending or waits for its retry. In a barrier block of the queue.
void TrackerManager::dropAll(DropReason reason)
{
    const auto registered = configs();
    for (const auto& [index, channel] : *registered) {
        const auto pending = static_cast<std::int64_t>(channel->m_pending->clear());
        channel->m_ledger.droppedPending(pending, reason);
        std::int64_t events = pending;
        for (const auto& [entry, share] : channel->m_retryCache.takeAll()) {
            channel->m_ledger.droppedWaiting(share, reason);
            events += share.events;
        }
        detail::Diagnostics::eventsDropped(index, reason, events);
    }
}

} // namespace telvora
