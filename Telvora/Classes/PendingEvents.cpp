#include <Telvora/Classes/PendingEvents.h>

#include <Telvora/Base/Encoder.h>

#include <utility>

namespace telvora::detail {

PendingEvents::PendingEvents(Array&& first)
{
    AnyDepth<Array> events(std::move(first));
    Encoder encoder(EncodeStyle::compact, NonFinite::refuse);
    for (Value& event : *events) {
        const EncodedEvent encoded = encodeEvent(event, encoder);
        append(std::move(event), encoded);
    }
}

AppendedEvent PendingEvents::append(Value&& event, const EncodedEvent& encoded)
{
    return m_state.with([&](State& state) -> AppendedEvent {
        auto [bytes, whole] = state.events.append(std::move(event), encoded);
        return { state.events.size(), bytes, std::move(whole) };
    });
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
        state.copiedBytes = 0;
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

Held PendingEvents::held() const
{
    return m_state.with([](const State& state) -> Held {
        const std::size_t events = state.events.size() - state.copied;
        // Each has a comma in front of it but the first of the list.
        const std::size_t commas = state.copied == 0 && events > 0 ? events - 1 : events;
        const std::size_t bytes = state.events.bytes() - state.copiedBytes - commas;
        return { .events = static_cast<std::int64_t>(events),
            .bytes = static_cast<std::int64_t>(bytes) };
    });
}

std::optional<std::uint64_t> PendingEvents::firstArrival() const
{
    return m_state.with([](const State& state) -> std::optional<std::uint64_t> {
        if (state.events.size() == state.copied)
            return std::nullopt;
        return state.events.arrivals()[state.copied];
    });
}

std::int64_t PendingEvents::dropFirst()
{
    return m_state.with([](State& state) -> std::int64_t {
        state.events.removeFirst(
            std::exchange(state.copied, 0), std::exchange(state.copiedBytes, 0));
        if (state.events.size() == 0)
            return 0;
        state.events.removeFirst(1, state.events.firstLength());
        return 1;
    });
}

std::vector<PendingEvents::ArrivedEvent> PendingEvents::arrived() const
{
    return m_state.with([](const State& state) {
        std::vector<ArrivedEvent> events(state.events.size());
        auto event = events.begin();
        state.events.arrivals().forEach(
            [&](std::uint64_t arrival) { (event++)->arrival = arrival; });
        event = events.begin();
        state.events.forEachLength([&](std::size_t length) {
            (event++)->bytes = length;
            return true;
        });
        events.erase(events.begin(), events.begin() + static_cast<std::ptrdiff_t>(state.copied));
        return events;
    });
}

void PendingEvents::dropLast(std::size_t count, std::size_t bytes)
{
    m_state.with([&](State& state) {
        const std::size_t kept = state.events.size() - count;
        // Each has a comma in front of it but the first of the list.
        const std::size_t commas = kept == 0 && count > 0 ? count - 1 : count;
        state.events.keepFirst(kept, state.events.bytes() - bytes - commas);
    });
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
