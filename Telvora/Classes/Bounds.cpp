#include <Telvora/Classes/Bounds.h>

#include <Telvora/Classes/PendingEvents.h>
#include <Telvora/Classes/TrackerConfig.h>

#include <cstddef>
#include <cstdint>
#include <optional>
#include <utility>

namespace telvora::detail {

Bounds::Bounds(Channels channels, const Limits& limits)
    : m_channels(std::move(channels))
    , m_limits(limits)
{
}

Held Bounds::held() const
{
    Held held;
    for (const auto& channel : m_channels)
        held += channel->held();
    return held;
}

bool Bounds::hasRoom(const Held& more) const
{
    Held wanted = more;
    if (m_limits.drop == DropFirst::newest)
        wanted += held();
    return !Excess(wanted, m_limits).isAny();
}

void Bounds::hold() const
{
    if (m_limits.drop == DropFirst::oldest) {
        while (dropBatch(Which::first) || dropFirstEvent()) { }
    } else {
        dropLastEvents();
        while (dropBatch(Which::last)) { }
    }
}

bool Bounds::dropBatch(Which which) const
{
    const Excess excess = this->excess();
    if (!excess.isAny())
        return false;
    const auto isWanted = [&](const Held& batch) { return excess.isEasedWithout(batch); };
    std::optional<TrackerRetryCache::Waiting> found;
    TrackerConfig* owner = nullptr;
    for (const auto& channel : m_channels) {
        const auto waiting = channel->m_retryCache.waiting(isWanted, which == Which::last);
        if (waiting && (!found || (waiting->arrival < found->arrival) == (which == Which::first))) {
            found = waiting;
            owner = channel.get();
        }
    }
    // If it has left meanwhile, the next look does not find it.
    if (found)
        owner->drop(found->entry, found->due, DropReason::overLimit);
    return found.has_value();
}

bool Bounds::dropFirstEvent() const
{
    const Excess excess = this->excess();
    if (!excess.events && !excess.bytes)
        return false;
    std::optional<std::uint64_t> first;
    TrackerConfig* owner = nullptr;
    for (const auto& channel : m_channels) {
        const auto arrival = channel->m_pending->firstArrival();
        if (arrival && (!first || *arrival < *first)) {
            first = arrival;
            owner = channel.get();
        }
    }
    if (owner)
        owner->dropPending(owner->m_pending->dropFirst(), DropReason::overLimit);
    return owner;
}

void Bounds::dropLastEvents() const
{
    Held held = this->held();
    const auto isTooMuch = [&] {
        const Excess excess(held, m_limits);
        return excess.events || excess.bytes;
    };
    if (!isTooMuch())
        return;

    struct Channel {
        std::vector<PendingEvents::ArrivedEvent> events;
        std::size_t dropped = 0;
        std::size_t droppedBytes = 0;
    };
    std::vector<Channel> channels(m_channels.size());
    for (std::size_t place = 0; place < channels.size(); ++place)
        channels[place].events = m_channels[place]->m_pending->arrived();
    while (isTooMuch()) {
        Channel* owner = nullptr;
        for (Channel& channel : channels) {
            if (!channel.events.empty()
                && (!owner || channel.events.back().arrival > owner->events.back().arrival))
                owner = &channel;
        }
        if (!owner)
            break;
        const std::size_t bytes = owner->events.back().bytes;
        held -= { .events = 1, .bytes = static_cast<std::int64_t>(bytes) };
        owner->events.pop_back();
        ++owner->dropped;
        owner->droppedBytes += bytes;
    }
    for (std::size_t place = 0; place < channels.size(); ++place) {
        const auto& [events, dropped, droppedBytes] = channels[place];
        m_channels[place]->m_pending->dropLast(dropped, droppedBytes);
        m_channels[place]->dropPending(static_cast<std::int64_t>(dropped), DropReason::overLimit);
    }
}

} // namespace telvora::detail
