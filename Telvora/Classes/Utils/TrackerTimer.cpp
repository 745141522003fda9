#include <Telvora/Classes/Utils/TrackerTimer.h>

#include <Telvora/Base/HostCall.h>
#include <Telvora/Platform/DispatchQueue.h>
#include <Telvora/Platform/Platform.h>

#include <algorithm>
#include <chrono>
#include <utility>

namespace telvora {

namespace {

// A hundred years in seconds. In nanoseconds it still fits into 64 bits.
constexpr std::int64_t longestInterval = 100LL * 365 * 24 * 60 * 60;

} // namespace

TrackerTimer::TrackerTimer()
    : m_ticking(Ticking { platform().dispatch.makeTimerSource(), nullptr })
{
}

void TrackerTimer::start(std::optional<std::int64_t> timeInterval, std::function<void()> handler)
{
    startTicks(timeInterval, [shared = detail::keepHostClosure(std::move(handler))] {
        if (*shared)
            detail::callHost(*shared, { "A timer handler" });
    });
}

void TrackerTimer::startTicks(
    std::optional<std::int64_t> timeInterval, std::function<void()> handler)
{
    std::shared_ptr<const std::function<void()>> shared
        = std::make_shared<std::function<void()>>(std::move(handler));
    // The old handler, and the host's objects in it, are destroyed after the lock is released.
    const auto replaced = m_ticking.with([&](Ticking& ticking) {
        // Balances the resume below.
        if (isRunning())
            ticking.logTimer->suspend();
        if (timeInterval)
            m_postInterval.store(*timeInterval, std::memory_order_relaxed);
        ticking.logTimer->schedule(
            std::chrono::seconds(std::clamp<std::int64_t>(postInterval(), 0, longestInterval)));
        ticking.logTimer->setHandler([shared] { (*shared)(); });
        ticking.logTimer->resume();
        m_isRunning.store(true, std::memory_order_relaxed);
        return std::exchange(ticking.handler, shared);
    });
}

void TrackerTimer::suspend()
{
    m_ticking.with([this](Ticking& ticking) {
        if (!isRunning())
            return;
        ticking.logTimer->suspend();
        m_isRunning.store(false, std::memory_order_relaxed);
    });
}

void TrackerTimer::resume()
{
    m_ticking.with([this](Ticking& ticking) {
        if (isRunning())
            return;
        ticking.logTimer->resume();
        m_isRunning.store(true, std::memory_order_relaxed);
    });
}

} // namespace telvora
