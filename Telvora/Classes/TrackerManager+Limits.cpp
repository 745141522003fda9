#include <Telvora/Classes/TrackerManager.h>

#include <Telvora/Base/ForkedChild.h>
#include <Telvora/Base/ProcessState.h>
#include <Telvora/Base/ProcessValue.h>
#include <Telvora/Classes/Bounds.h>

#include <atomic>
#include <utility>

namespace telvora {

namespace {

// Whether there are limits of all channels together. The intake asks for every event.
constinit detail::ProcessValue<bool> s_areAllBounded { false };

} // namespace

void TrackerManager::setLimits(const Limits& limits)
{
    TrackerManager& manager = shared();
    if (manager.isInert())
        return;
    manager.m_limits.with([&](Limits& set) {
        set = limits;
        s_areAllBounded.change().store(limits.areSet(), std::memory_order_relaxed);
    });
    const auto registered = manager.configs();
    for (const auto& [index, channel] : *registered)
        holdLimitsSoon(channel);
}

Limits TrackerManager::limits()
{
    return shared().m_limits.get();
}

bool TrackerManager::haveLimits(const TrackerConfig& channel)
{
    // A channel of a platform that was taken down belongs to a manager that does nothing any more.
    return (channel.isBounded() || s_areAllBounded->load(std::memory_order_relaxed))
        && channel.m_renewalCount == detail::ProcessState::renewalCount();
}

// What a channel's own limits and those of all together are about.
void TrackerManager::forEachBounds(const std::shared_ptr<TrackerConfig>& channel,
    FunctionRef<void(const detail::Bounds& bounds)> use) const
{
    if (channel->isBounded()) {
        detail::Bounds::Channels channels(1);
        channels.front() = channel;
        use(detail::Bounds(std::move(channels), channel->limits()));
    }
    if (!s_areAllBounded->load(std::memory_order_relaxed))
        return;
    const auto registered = configs();
    detail::Bounds::Channels channels(registered->size());
    auto place = channels.begin();
    for (const auto& [index, registeredChannel] : *registered)
        *place++ = registeredChannel;
    use(detail::Bounds(std::move(channels), m_limits.get()));
}

// In a barrier block of the queue.
bool TrackerManager::hasRoom(
    const std::shared_ptr<TrackerConfig>& channel, const detail::Held& more) const
{
    if (!haveLimits(*channel))
        return true;
    bool hasRoom = true;
    forEachBounds(
        channel, [&](const detail::Bounds& bounds) { hasRoom = hasRoom && bounds.hasRoom(more); });
    return hasRoom;
}

// In a barrier block of the queue.
void TrackerManager::holdLimits(const std::shared_ptr<TrackerConfig>& channel) const noexcept
try {
    forEachBounds(channel, [](const detail::Bounds& bounds) { bounds.hold(); });
} catch (...) {
    // There is no memory, and nothing is dropped; the next event tries again.
}

// After limits were set or a channel has come.
void TrackerManager::holdLimitsSoon(const std::shared_ptr<TrackerConfig>& channel)
{
    // During the set-up nothing is kept, and a block would be a use of the library.
    if (!channel || !haveLimits(*channel) || channel->m_ledger.left() == 0)
        return;
    TrackerManager& manager = shared();
    try {
        manager.m_queue->barrierAsync([&manager, channel] { manager.holdLimits(channel); });
    } catch (...) {
        // There is no memory for the block: what arrives next holds the limits.
    }
}

} // namespace telvora
