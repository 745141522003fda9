#include <Telvora/Classes/Utils/TrackerTimer.h>

#include <Telvora/Platform/DispatchQueue.h>
#include <Telvora/Platform/Platform.h>

#include <algorithm>
#include <chrono>

namespace telvora {

namespace {

// Longer than any process lives, and still far from the end of a 64-bit count of nanoseconds.
constexpr std::int64_t longestInterval = 100LL * 365 * 24 * 60 * 60;

} // namespace

TrackerTimer::TrackerTimer()
    : m_logTimer(platform().dispatch.makeTimerSource())
{
}

void TrackerTimer::start(std::optional<std::int64_t> timeInterval, std::function<void()> handler)
{
    std::shared_ptr<const std::function<void()>> shared
        = std::make_shared<std::function<void()>>(std::move(handler));
    MutexLock locked(m_lock);
    // Keeps the source's count of suspends in balance with the resume below.
    if (isRunning())
        m_logTimer->suspend();
    if (timeInterval)
        m_postInterval.store(*timeInterval, std::memory_order_relaxed);
    m_logTimer->schedule(
        std::chrono::seconds(std::clamp<std::int64_t>(postInterval(), 0, longestInterval)));
    m_logTimer->setHandler([shared] {
        if (*shared)
            (*shared)();
    });
    // The old handler goes after the lock, with whatever it holds of the host's.
    m_handler.swap(shared);
    m_logTimer->resume();
    m_isRunning.store(true, std::memory_order_relaxed);
}

void TrackerTimer::suspend()
{
    MutexLock locked(m_lock);
    if (!isRunning())
        return;
    m_logTimer->suspend();
    m_isRunning.store(false, std::memory_order_relaxed);
}

void TrackerTimer::resume()
{
    MutexLock locked(m_lock);
    if (isRunning())
        return;
    m_logTimer->resume();
    m_isRunning.store(true, std::memory_order_relaxed);
}

} // namespace telvora
