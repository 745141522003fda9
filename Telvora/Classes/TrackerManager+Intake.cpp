#include <Telvora/Classes/TrackerManager.h>

#include <Telvora/Base/ForkedChild.h>
#include <Telvora/Base/HostCall.h>
#include <Telvora/Classes/Delivery.h>

namespace telvora {

struct TrackerManager::IntakeBlock {
    TrackerManager& manager;
    Dictionary event;
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
void TrackerManager::intake(Dictionary& event, const std::string& index)
{
    const auto channel = config(index);
    if (!channel) {
        // The event is dropped; only the callback sees it.
        m_unknownChannels.droppedAtIntake(DropReason::unknownChannel);
        trigger(event, index, m_unknownChannels);
        dispose(std::move(event));
        return;
    }

    bool isFull = false;
    try {
        isFull = channel->append(event);
    } catch (...) {
        // There is no memory for the event: it is dropped.
        channel->m_ledger.droppedAtIntake(DropReason::internalError);
        trigger(event, index, channel->m_ledger);
        dispose(std::move(event));
        return;
    }
    std::shared_ptr<const Array> sent;
    if (isFull)
        sent = detail::Delivery::sendList(channel);
    else
        detail::Delivery::sendRetryData(channel);
    if (detail::isForkedChild())
        return; // The URL hook forked, and this is the child, which cannot read the list.
    trigger(sent ? sent->back().get_object() : channel->lastEvent(), index, channel->m_ledger);
}

void TrackerManager::timerEventHandler(const std::shared_ptr<TrackerConfig>& config)
{
    TrackerConfig::Copied copied;
    try {
        m_queue->sync([&] { copied = config->copyAll(); });
    } catch (...) {
        // There is no memory for a copy: the next tick tries again.
        return;
    }
    if (copied.events->empty()) {
        detail::Delivery::sendRetryData(config);
        return;
    }
    detail::Delivery::sendNormalData(config, std::move(copied));
    const auto clear = [config] { config->clear(); };
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
