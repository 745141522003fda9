#include <Telvora/Classes/Bounds.h>

#include <Telvora/Classes/PendingEvents.h>
#include <Telvora/Classes/TrackerConfig.h>

#include <algorithm>
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
        if (!waiting)
            continue;
        const bool isBetter = !found
            || (which == Which::first ? waiting->arrival < found->arrival
                                      : waiting->arrival > found->arrival);
        if (isBetter) {
            found = waiting;
            owner = channel.get();
        }
    }
    return found && owner->drop(found->entry, found->due, DropReason::overLimit);
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
    struct Event {
        std::uint64_t arrival;
        std::int64_t bytes;
        std::size_t channel;
    };
    Held held = this->held();
    const auto isTooMuch = [&] {
        const Excess excess(held, m_limits);
        return excess.events || excess.bytes;
    };
    if (!isTooMuch())
        return;

    std::vector<Event> events;
    for (std::size_t channel = 0; channel < m_channels.size(); ++channel) {
        for (const auto& [arrival, bytes] : m_channels[channel]->m_pending->arrived())
            events.push_back({ arrival, static_cast<std::int64_t>(bytes), channel });
    }
    std::sort(events.begin(), events.end(),
        [](const Event& lhs, const Event& rhs) { return lhs.arrival < rhs.arrival; });
    std::vector<std::size_t> dropped(m_channels.size());
    for (; isTooMuch() && !events.empty(); events.pop_back()) {
        held -= { .events = 1, .bytes = events.back().bytes };
        ++dropped[events.back().channel];
    }
    for (std::size_t channel = 0; channel < m_channels.size(); ++channel) {
        TrackerConfig& owner = *m_channels[channel];
        owner.dropPending(owner.m_pending->dropLast(dropped[channel]), DropReason::overLimit);
    }
}

} // namespace telvora::detail
