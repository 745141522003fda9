#include <Telvora/Classes/TrackerManager.h>

#include <Telvora/Base/Encoder.h>
#include <Telvora/Base/ForkedChild.h>
#include <Telvora/Base/HostCall.h>
#include <Telvora/Classes/Delivery.h>
#include <Telvora/Classes/PendingEvents.h>

namespace telvora {

struct TrackerManager::IntakeBlock {
    TrackerManager& manager;
    Value event;
    std::string index;

    void operator()() { manager.intake(event, index); }
};

void TrackerManager::appendTracker(const Dictionary& event, std::string for_)
{
    submit(for_, [&] {
        // Before the index is moved, because it can throw.
        Dictionary copied = copy(event);
        appendTracker(std::move(copied), std::move(for_));
    });
}

void TrackerManager::appendTracker(Dictionary&& event, std::string for_)
{
    // Made in the queue's own memory: each further move of the event would cost the host's thread
    // time.
    submit(for_, event,
        [&] { m_queue->emplaceBarrier<IntakeBlock>(*this, std::move(event), std::move(for_)); });
}

void TrackerManager::recordUnsubmitted(const std::string& index)
{
    const auto channel = config(index);
    detail::ChannelLedger& ledger = channel ? channel->m_ledger : m_unknownChannels;
    ledger.droppedAtIntake(DropReason::internalError);
}

void TrackerManager::setTriggerCallback(TriggerCallback callback)
{
    shared().m_triggerCallback.setValue(detail::keepHostClosure(std::move(callback)));
}

// In a barrier block of the queue.
void TrackerManager::intake(Value& event, const std::string& index)
{
    const auto channel = config(index);
    std::shared_ptr<const detail::AnyDepth<Value>> whole;
    if (channel)
        whole = accept(event, channel);
    else
        // The event is dropped; only the callback sees it.
        m_unknownChannels.droppedAtIntake(DropReason::unknownChannel);
    if (!detail::isForkedChild()) {
        // Otherwise the URL hook forked, and this is the child, which is inert.
        trigger((whole ? **whole : event).get_object(), index,
            channel ? channel->m_ledger : m_unknownChannels);
    }
    dispose(std::move(event));
}

// Puts the event into the channel's list, and sends what is due. Returns the event if the list has
// taken it.
std::shared_ptr<const detail::AnyDepth<Value>> TrackerManager::accept(
    Value& event, const std::shared_ptr<TrackerConfig>& channel)
{
    detail::PendingEvents::Appended appended;
    try {
        appended = channel->m_pending->append(std::move(event), *m_encoder);
    } catch (...) {
        // There is no memory for the event: it is dropped.
        channel->m_ledger.droppedAtIntake(DropReason::internalError);
        return nullptr;
    }
    channel->m_ledger.appended(1);
    if (static_cast<std::int64_t>(appended.size) >= channel->maxLimit())
        detail::Delivery::sendList(channel);
    else
        detail::Delivery::sendRetryData(channel);
    return std::move(appended.whole);
}

void TrackerManager::timerEventHandler(const std::shared_ptr<TrackerConfig>& config)
{
    detail::PendingEvents::Copied copied;
    try {
        m_queue->sync([&] { copied = config->m_pending->copyAll(); });
    } catch (...) {
        // There is no memory for a copy: the next tick tries again.
        return;
    }
    if (copied.events.size() == 0) {
        detail::Delivery::sendRetryData(config);
        return;
    }
    detail::Delivery::sendNormalData(config, std::move(copied));
    const auto clear = [config] {
        // Events that arrived after the copy are lost; the design accepts that.
        const auto unsent = static_cast<std::int64_t>(config->m_pending->clear());
        config->m_ledger.droppedPending(unsent, DropReason::clearedAfterCopy);
    };
    try {
        m_queue->barrierAsync(clear);
    } catch (...) {
        // There is no memory for the block. The events are sent and must not be sent again.
        m_queue->barrierSync(clear);
    }
}

void TrackerManager::trigger(
    const Dictionary& event, const std::string& index, detail::ChannelLedger& ledger)
{
    const auto callback = m_triggerCallback.getValue();
    if (callback && *callback
        && detail::callHost([&] { (*callback)(event, index); }) == detail::HostCall::threw)
        ledger.hostThrew();
}

std::optional<LedgerSnapshot> TrackerManager::ledger(std::string_view index) const
{
    const auto channel = config(index);
    return channel ? std::optional(channel->ledger()) : std::nullopt;
}

std::map<std::string, LedgerSnapshot> TrackerManager::ledgers() const
{
    std::map<std::string, LedgerSnapshot> ledgers;
    if (detail::isForkedChild())
        return ledgers;
    const auto registered = configs();
    for (const auto& [index, config] : *registered)
        ledgers.emplace(index, config->ledger());
    std::string unknown;
    while (ledgers.contains(unknown))
        unknown = unknown.empty() ? "(unknown)" : "(" + unknown + ")";
    ledgers.emplace(std::move(unknown), m_unknownChannels.snapshot());
    return ledgers;
}

Dictionary TrackerManager::ledgersDictionary() const
{
    Dictionary dictionary;
    for (const auto& [index, snapshot] : ledgers())
        dictionary[index] = ledgerDictionary(snapshot);
    return dictionary;
}

} // namespace telvora
