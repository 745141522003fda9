#include <Telvora/Classes/PendingEvents.h>

#include <Telvora/Base/Encoder.h>

#include <utility>

namespace telvora::detail {

PendingEvents::PendingEvents(Array&& first)
{
    AnyDepth<Array> events(std::move(first));
    Encoder encoder(EncodeStyle::compact, NonFinite::refuse);
    for (Value& event : *events)
        append(std::move(event), encoder);
}

AppendedEvent PendingEvents::append(Value&& event, Encoder& encoder, NonFiniteCost nonFinite)
{
    encoder.setNonFinite(nonFinite == NonFiniteCost::null ? NonFinite::asNull : NonFinite::refuse);
    // Without the lock: whoever looks at the events does not wait for the text of a long one.
    const EncodedEvent encoded = encodeEvent(event, encoder);
    if (!encoded.isEncodable && nonFinite == NonFiniteCost::event)
        return { .size = 0, .isRefused = true };
    AppendedEvent appended = m_state.with([&](State& state) -> AppendedEvent {
        auto [bytes, whole] = state.events.append(std::move(event), encoded);
        return { state.events.size(), bytes, std::move(whole) };
    });
    // Gives back the memory of a long text.
    encoder.clear();
    return appended;
}

std::size_t PendingEvents::append(std::string_view text)
{
    return m_state.with([&](State& state) {
        state.events.append(text);
        return state.events.size();
    });
}

Batch PendingEvents::batch(
    std::shared_ptr<const EncodedCommonData> common, BodyEncoding encoding, Which which) const
{
    // A copy, so that the lock is not held while the text is compressed.
    const EventList events = m_state.with([&](const State& state) {
        EventList wanted = state.events;
        if (which == Which::notCopied)
            wanted.removeFirst(state.copied, state.copiedBytes);
        return wanted;
    });
    return events.size() == 0 ? Batch() : makeTextBatch(std::move(common), events, encoding);
}

std::uint32_t PendingEvents::beginSending(const Batch& batch)
{
    EventList sent;
    return m_state.with([&](State& state) {
        std::swap(state.events, sent);
        state.sending = batch;
        return static_cast<std::uint32_t>(sent.size() - std::exchange(state.copied, 0));
    });
}

void PendingEvents::finishSending()
{
    // It may be the last reference to the batch, which is then destroyed after the lock is
    // released.
    const Batch sent
        = m_state.with([](State& state) { return std::exchange(state.sending, nullptr); });
}

PendingEvents::Copied PendingEvents::copyAll()
{
    return m_state.with([](State& state) {
        Copied copied { state.events,
            static_cast<std::uint32_t>(state.events.size() - state.copied) };
        state.copied = state.events.size();
        state.copiedBytes = state.events.bytes();
        return copied;
    });
}

std::size_t PendingEvents::clear()
{
    const State cleared = m_state.exchange({});
    return cleared.events.size() - cleared.copied;
}

std::size_t PendingEvents::size() const
{
    return m_state.with([](const State& state) { return state.events.size(); });
}

Array PendingEvents::shown() const
{
    const auto [events, sending] = m_state.with([](const State& state) {
        return state.sending ? std::pair(EventList(), state.sending)
                             : std::pair(state.events, Batch());
    });
    return sending ? eventsOf(sending) : events.decoded();
}

} // namespace telvora::detail
