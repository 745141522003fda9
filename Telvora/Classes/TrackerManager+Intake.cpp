#include <Telvora/Classes/TrackerManager.h>

#include <Telvora/Base/Encoder.h>
#include <Telvora/Base/EventBuilder.h>
#include <Telvora/Base/ForkedChild.h>
#include <Telvora/Base/HostCall.h>
#include <Telvora/Base/Signal.h>
#include <Telvora/Base/UsualMemory.h>
#include <Telvora/Classes/Delivery.h>
#include <Telvora/Classes/Diagnostics.h>
#include <Telvora/Classes/FinishedEvents.h>
#include <Telvora/Classes/PendingEvents.h>
#include <Telvora/Classes/Uploads.h>

#include <limits>
#include <new>
#include <type_traits>

namespace telvora {

// The block of the queue that takes in one event, a Value or an EventBuilder. `network` is set in
// it unless it is empty.
template<typename Event> struct TrackerManager::IntakeBlock {
    TrackerManager& manager;
    Event event;
    std::string index;
    std::string_view network;

    void operator()()
    {
        const std::size_t bytes = manager.intake(valueOf(event), index, network);
        if constexpr (std::is_same_v<Event, Value>)
            manager.m_finished->add(std::move(event), bytes);
        else
            manager.m_finished->add(std::move(event));
    }

    static Value& valueOf(Value& event) { return event; }
    static Value& valueOf(EventBuilder& event) { return detail::eventOf(event); }
};

// The block of the queue that takes in a record, which is text already.
struct TrackerManager::RecordBlock {
    TrackerManager& manager;
    std::string text;

    void operator()()
    {
        manager.intakeRecord(text);
        manager.m_finished->add(std::move(text));
    }
};

// Where the events for an index go: `channel` is null where none is registered.
struct TrackerManager::Destination {
    std::string_view index;
    std::shared_ptr<TrackerConfig> channel;
    detail::ChannelLedger& ledger;
    // Why an event does not enter the list, so that only the trigger callback sees it.
    std::optional<DropReason> refusal;

    // One event is dropped before it enters a list.
    void drop(DropReason reason) const noexcept
    {
        ledger.droppedAtIntake(reason);
        detail::Diagnostics::eventsDropped(index, reason, 1);
    }
};

TrackerManager::Destination TrackerManager::destination(std::string_view index)
{
    auto channel = config(index);
    detail::ChannelLedger& ledger = channel ? channel->m_ledger : m_unknownChannels;
    std::optional<DropReason> refusal;
    if (!channel)
        refusal = DropReason::unknownChannel;
    else if (m_refusesEvents.load(std::memory_order_relaxed))
        refusal = DropReason::afterShutdown;
    else if (m_isDisabled.load(std::memory_order_relaxed))
        refusal = DropReason::disabled;
    return { index, std::move(channel), ledger, refusal };
}

void TrackerManager::appendTracker(const Dictionary& event, std::string for_)
{
    submit(for_, [&] {
        // Before the index is moved, because it can throw.
        EventBuilder copied(event);
        enqueue(std::move(copied), std::move(for_));
    });
}

void TrackerManager::appendTracker(Dictionary&& event, std::string for_)
{
    submit(for_, event, [&] { enqueue(std::move(event), std::move(for_)); });
}

void TrackerManager::appendBuilt(EventBuilder& event, std::string index, Network network)
{
    // The host's builder is empty from here on, whatever happens to the event.
    EventBuilder built(std::move(event));
    submit(index, [&] {
        // A builder without a field has no memory yet.
        detail::eventOf(built);
        enqueue(std::move(built), std::move(index),
            network == Network::stamped ? getCurrentNetWorkStatus() : std::string_view());
    });
}

// Made in the queue's own memory: each further move of the event would cost the host's thread time.
void TrackerManager::enqueue(Dictionary&& event, std::string&& index, std::string_view network)
{
    if (!network.empty() && !detail::isInUsualMemory(event)) {
        // The field would be put into memory that the host may be using at that moment.
        enqueue(EventBuilder(event), std::move(index), network);
        dispose(std::move(event));
        return;
    }
    static_assert(Work::fits<IntakeBlock<Value>>, "an allocation on the host's thread");
    m_queue->emplaceBarrier<IntakeBlock<Value>>(*this, std::move(event), std::move(index), network);
}

void TrackerManager::enqueue(EventBuilder&& event, std::string&& index, std::string_view network)
{
    m_queue->emplaceBarrier<IntakeBlock<EventBuilder>>(
        *this, std::move(event), std::move(index), network);
}

// As text, which costs the caller less than a dictionary of all properties and takes one short
// block of memory, if it can be read back as that dictionary.
void TrackerManager::enqueueRecord(detail::PropertyKeys keys, detail::PassProperties pass)
{
    if (auto text = detail::encodePlain(pass)) {
        static_assert(Work::fits<RecordBlock>, "an allocation on the host's thread");
        m_queue->emplaceBarrier<RecordBlock>(*this, *std::move(text));
        return;
    }
    EventBuilder event(keys.size());
    detail::putProperties(keys, pass, detail::fieldsOf(event));
    enqueue(std::move(event), std::string(rawValue(DefaultIndex::APM)));
}

void TrackerManager::recordUnsubmitted(const std::string& index)
{
    destination(index).drop(DropReason::internalError);
}

void TrackerManager::setTriggerCallback(TriggerCallback callback)
{
    shared().m_triggerCallback.setValue(detail::keepHostClosure(std::move(callback)));
}

// In a barrier block of the queue. Returns how long the event's text is; for an event of which that
// says nothing, as long as a text can be.
std::size_t TrackerManager::intake(Value& event, const std::string& index, std::string_view network)
{
    Destination to = destination(index);
    detail::AppendedEvent appended { .bytes = std::numeric_limits<std::size_t>::max() };
    accept(to, [&] {
        if (!network.empty())
            stampNetwork(event.get_object(), network);
        if (!to.refusal) {
            const NonFiniteCost cost = to.channel->nonFiniteCost();
            m_encoder->setNonFinite(cost == NonFiniteCost::null ? detail::NonFinite::asNull
                                                                : detail::NonFinite::refuse);
            // Outside of the list's lock: whoever looks at it does not wait for a long event.
            const detail::EncodedEvent encoded = detail::encodeEvent(event, *m_encoder);
            if (!encoded.isEncodable && cost == NonFiniteCost::event)
                to.refusal = DropReason::notFinite;
            else
                refuseOverLimit(to, encoded.text);
            if (!to.refusal)
                appended = to.channel->m_pending->append(std::move(event), encoded);
            // Gives back the memory of a long text.
            m_encoder->clear();
        }
        return appended.size;
    });
    // In a child that the URL hook forked, the library is inert.
    if (!detail::isForkedChild())
        trigger((appended.whole ? **appended.whole : event).get_object(), index, to.ledger);
    return appended.bytes;
}

// The same for a record, which goes to "APM".
void TrackerManager::intakeRecord(const std::string& text)
{
    const std::string_view index = rawValue(DefaultIndex::APM);
    Destination to = destination(index);
    accept(to, [&] {
        refuseOverLimit(to, text);
        return to.refusal ? 0 : to.channel->m_pending->append(text);
    });
    if (detail::isForkedChild() || !hasTriggerCallback())
        return;
    try {
        const detail::AnyDepth<Value> event(decode(text).value.value());
        trigger(event->get_object(), std::string(index), to.ledger);
    } catch (const std::bad_alloc&) {
        // There is no memory for the dictionary: the callback does not see this record.
    }
}

// Calls `append`, which puts an event into the channel's list unless that refuses it and returns
// the list's size, and sends what is due. If `append` throws, it has changed nothing: there is no
// memory for the event.
template<typename Append>
void TrackerManager::accept(const Destination& to, const Append& append) noexcept
{
    try {
        std::size_t size = append();
        if (to.refusal) {
            to.drop(*to.refusal);
            if (to.refusal == DropReason::overLimit)
                holdLimits(to.channel);
            return;
        }
        to.ledger.appended(1);
        if (haveLimits(*to.channel)) {
            holdLimits(to.channel);
            size = to.channel->m_pending->size();
        }
        if (static_cast<std::int64_t>(size) >= to.channel->maxLimit())
            detail::Delivery::sendList(to.channel);
        else
            detail::Delivery::sendRetryData(to.channel);
    } catch (...) {
        to.drop(DropReason::internalError);
    }
}

void TrackerManager::refuseOverLimit(Destination& to, std::string_view text) const
{
    const detail::Held event { .events = 1, .bytes = static_cast<std::int64_t>(text.size()) };
    if (!to.refusal && !hasRoom(to.channel, event))
        to.refusal = DropReason::overLimit;
}

void TrackerManager::timerEventHandler(const std::shared_ptr<TrackerConfig>& config)
{
    if (isRetired() || !detail::Uploads::shared().mayBegin())
        return;
    auto withdrawn = detail::Uploads::shared().consent();
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
    detail::Delivery::sendNormalData(config, copied, std::move(withdrawn));
    const auto clear = [config] {
        // Events that arrived after the copy are lost; the design accepts that.
        const auto unsent = static_cast<std::int64_t>(config->m_pending->clear());
        config->m_ledger.droppedPending(unsent, DropReason::clearedAfterCopy);
        detail::Diagnostics::eventsDropped(config->index(), DropReason::clearedAfterCopy, unsent);
    };
    try {
        m_queue->barrierAsync(clear);
    } catch (...) {
        // There is no memory for the block. The events are sent and must not be sent again.
        m_queue->barrierSync(clear);
    }
}

bool TrackerManager::hasTriggerCallback() const
{
    const auto callback = m_triggerCallback.getValue();
    return callback && *callback;
}

void TrackerManager::trigger(
    const Dictionary& event, const std::string& index, detail::ChannelLedger& ledger)
{
    const auto callback = m_triggerCallback.getValue();
    if (!callback || !*callback)
        return;
    try {
        // A host may keep copies of the event, and they use its memory, so it gets one in memory
        // that is not given back with the event.
        const bool isLasting = detail::isInUsualMemory(event);
        const detail::AnyDepth<Dictionary> lasting(isLasting ? Dictionary() : copy(event));
        const Dictionary& seen = isLasting ? event : *lasting;
        const auto call = [&] { (*callback)(seen, index); };
        const detail::NoWaitScope inIntake;
        if (detail::callHost(call, { "The trigger callback", index }) == detail::HostCall::threw)
            ledger.hostThrew();
    } catch (const std::bad_alloc&) {
        // There is no memory for the copy: the callback does not see this event.
    }
}

std::optional<LedgerSnapshot> TrackerManager::ledger(std::string_view index) const
{
    const auto channel = config(index);
    return channel ? std::optional(channel->ledger()) : std::nullopt;
}

std::map<std::string, LedgerSnapshot> TrackerManager::ledgers() const
{
    std::map<std::string, LedgerSnapshot> ledgers;
    if (isInert())
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
