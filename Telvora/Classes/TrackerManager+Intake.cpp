#include <Telvora/Classes/TrackerManager.h>

#include <Telvora/Base/HostCall.h>
#include <Telvora/Classes/Utils/TrackerNetwork.h>

namespace telvora {

struct TrackerManager::IntakeBlock {
    TrackerManager& manager;
    Dictionary event;
    std::string index;

    void operator()() { manager.intake(std::move(event), index); }
};

void TrackerManager::appendTracker(const Dictionary& event, std::string forIndex)
{
    appendTracker(copy(event), std::move(forIndex));
}

void TrackerManager::appendTracker(Dictionary&& event, std::string forIndex)
{
    // Made in the queue's own memory: every move of an event is a cost to the host's thread.
    m_queue->emplaceBarrier<IntakeBlock>(*this, std::move(event), std::move(forIndex));
}

void TrackerManager::setTriggerCallback(TriggerCallback callback)
{
    shared().m_triggerCallback.setValue(
        std::make_shared<const TriggerCallback>(std::move(callback)));
}

// In a barrier block of the queue.
void TrackerManager::intake(Dictionary event, const std::string& index)
{
    const auto channel = config(index);
    if (!channel) {
        // Nobody collects it: the callback is the only one to see it.
        m_unknownChannels.droppedUnknown();
        trigger(event, index, m_unknownChannels);
        dispose(std::move(event));
        return;
    }

    const bool isFull = channel->append(std::move(event));
    if (!isFull) {
        sendRetryData(channel);
        trigger(channel->lastEvent(), index, channel->m_ledger);
        return;
    }
    const auto sent = sendNormalData(channel, channel->takeAll());
    channel->setLeaving(nullptr);
    trigger(sent->back().get_object(), index, channel->m_ledger);
}

void TrackerManager::timerEventHandler(const std::shared_ptr<TrackerConfig>& config)
{
    TrackerConfig::Copied copied;
    m_queue->sync([&] { copied = config->copyAll(); });
    if (copied.events->empty()) {
        sendRetryData(config);
        return;
    }
    sendNormalData(config, std::move(copied));
    m_queue->barrierAsync([config] { config->clear(); });
}

std::shared_ptr<const Array> TrackerManager::sendNormalData(
    const std::shared_ptr<TrackerConfig>& config, TrackerConfig::Copied apiDatas)
{
    const auto common = config->commonData();
    Dictionary body = copy(common->commonDatas);
    Value& list = body[common->dataListKey];
    dispose(std::move(list));
    list = std::move(*apiDatas.events);

    const LedgerShare share { apiDatas.fresh, 1 };
    config->m_ledger.posted(share);
    const Batch batch = makeBatch(std::move(body));
    std::shared_ptr<const Array> events(batch, &batch->at(common->dataListKey).get_array());
    if (apiDatas.isTaken)
        config->setLeaving(events);
    post(config, batch, 0, TrackerRetryData::defaultMaxRetryCount, share);
    return events;
}

void TrackerManager::sendRetryData(const std::shared_ptr<TrackerConfig>& config)
{
    const auto [entry, share] = config->takeRetryData();
    if (!entry)
        return;
    if (!entry->data) {
        // There is nothing to send, and there never will be.
        config->m_ledger.droppedInFlight(share, DropReason::retriesExhausted);
        return;
    }
    post(config, entry->data, entry->retryCount, entry->maxRetryCount, share);
}

void TrackerManager::post(const std::shared_ptr<TrackerConfig>& config, const Batch& batch,
    std::int64_t failures, std::int64_t maxRetryCount, LedgerShare share)
{
    auto finish
        = [config, failures, maxRetryCount, share](TrackerNetwork::PostEnd end, Batch param) {
              ChannelLedger& ledger = config->m_ledger;
              switch (end) {
              case TrackerNetwork::PostEnd::accepted:
                  return ledger.delivered(share);
              case TrackerNetwork::PostEnd::unencodable:
                  return ledger.droppedInFlight(share, DropReason::unencodable);
              case TrackerNetwork::PostEnd::answerNotObject:
                  return ledger.droppedInFlight(share, DropReason::answerNotObject);
              case TrackerNetwork::PostEnd::refused:
                  break;
              }
              if (failures >= maxRetryCount)
                  return ledger.droppedInFlight(share, DropReason::retriesExhausted);
              auto retry = std::make_shared<TrackerRetryData>(std::move(param), failures + 1);
              retry->giveShare(share);
              ledger.failedIntoRetry(share);
              config->m_retryCache.insert(std::move(retry));
          };

    std::string url;
    const TrackerConfig::URLHook& urlHook = config->urlHook();
    const HostCall asked = urlHook ? callHost([&] { url = urlHook(); }) : HostCall::notCalled;
    if (asked != HostCall::returned) {
        if (asked == HostCall::threw)
            config->m_ledger.hostThrew();
        // Without an address the upload fails like any other, and is tried again.
        finish(TrackerNetwork::PostEnd::refused, batch);
        return;
    }
    TrackerNetwork::shareInstance().postWithEnds(url, batch, config->headers(), std::move(finish));
}

void TrackerManager::trigger(
    const Dictionary& event, const std::string& index, ChannelLedger& ledger)
{
    const auto callback = m_triggerCallback.getValue();
    if (*callback && callHost([&] { (*callback)(event, index); }) == HostCall::threw)
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
