#include <Telvora/Classes/TrackerManager.h>

#include <Telvora/Base/ExitGate.h>
#include <Telvora/Base/ForkedChild.h>
#include <Telvora/Base/Signal.h>
#include <Telvora/Classes/Delivery.h>
#include <Telvora/Classes/PendingEvents.h>
#include <Telvora/Classes/Uploads.h>
#include <Telvora/Platform/Clock.h>
#include <Telvora/Platform/NotificationCenter.h>
#include <Telvora/Platform/Platform.h>

#include <algorithm>
#include <atomic>
#include <cmath>
#include <vector>

namespace telvora {

namespace {

// In nanoseconds a hundred years still fit into 64 bits.
constexpr std::chrono::duration<double> longestWait = std::chrono::years(100);

bool isDeadline(std::chrono::duration<double> deadline)
{
    return std::isfinite(deadline.count()) && deadline.count() >= 0;
}

} // namespace

// What the calling thread shares with its blocks, which may run after it has returned.
struct TrackerManager::Flush {
    // All is posted, and all that was under way then has ended.
    const std::shared_ptr<detail::Signal> answered = std::make_shared<detail::Signal>();
    // `isAtRest` is known.
    detail::Signal looked;
    std::atomic<bool> isAtRest { false };
};

std::optional<FlushResult> TrackerManager::flush(std::chrono::duration<double> deadline)
{
    if (!isDeadline(deadline))
        return std::nullopt;
    if (detail::isForkedChild())
        return FlushResult();
    return shared().postAndWait(deadline, Afterwards::goOn);
}

std::optional<FlushResult> TrackerManager::shutdown(std::chrono::duration<double> deadline)
{
    if (!isDeadline(deadline))
        return std::nullopt;
    if (detail::isForkedChild())
        return FlushResult();
    TrackerManager& manager = shared();
    const bool isFirst = !manager.m_isShutDown.exchange(true, std::memory_order_relaxed);
    const FlushResult result = manager.postAndWait(deadline, Afterwards::stop);
    if (!isFirst)
        return result;
    manager.m_trackerTimer.suspend();
    manager.removeObservers();
    if (Reachability* reachability = manager.m_networkStatus.reachability())
        reachability->stopNotifier();
    return result;
}

FlushResult TrackerManager::postAndWait(
    std::chrono::duration<double> deadline, Afterwards afterwards)
{
    using std::chrono::nanoseconds;
    const nanoseconds longest
        = std::chrono::duration_cast<nanoseconds>(std::min(deadline, longestWait));
    const auto end = platform().clock.steadyNow() + longest;
    const auto wait = [&](const detail::Signal& signal) {
        const nanoseconds left = end - platform().clock.steadyNow();
        if (!detail::NoWaitScope::isInside())
            platform().dispatch.wait(signal, std::max(left, nanoseconds(0)));
    };

    detail::Uploads& uploads = detail::Uploads::shared();
    try {
        const auto flush = std::make_shared<Flush>();
        if (detail::ExitGate::isClosed()) {
            flush->isAtRest = uploads.isNoneUnderWay();
        } else {
            m_queue->barrierAsync([this, flush, afterwards] {
                if (afterwards == Afterwards::stop)
                    m_refusesEvents.store(true, std::memory_order_relaxed);
                try {
                    postAll();
                    detail::Uploads::shared().whenEnded(flush->answered);
                } catch (...) {
                    // There is no memory: nobody would ever set it.
                    flush->answered->set();
                }
            });
            wait(*flush->answered);
            m_queue->barrierAsync([this, flush, afterwards] {
                if (afterwards == Afterwards::stop)
                    detail::Uploads::shared().stop();
                flush->isAtRest
                    = m_queue->blocksBehind() == 0 && detail::Uploads::shared().isNoneUnderWay();
                flush->looked.set();
            });
            wait(flush->looked);
        }
        return { flush->isAtRest, left() };
    } catch (...) {
        // There is no memory for the blocks.
        if (afterwards == Afterwards::stop) {
            m_refusesEvents.store(true, std::memory_order_relaxed);
            uploads.stop();
        }
        return { false, left() };
    }
}

// In a barrier block of the queue.
void TrackerManager::postAll()
{
    struct Waiting {
        std::shared_ptr<TrackerConfig> channel;
        std::vector<TrackerRetryCache::Taken> batches;
    };
    if (!detail::Uploads::shared().mayBegin())
        return;
    const auto withdrawn = detail::Uploads::shared().consent();
    // All are taken before the first is posted: one that fails at once must not be tried again.
    const auto registered = configs();
    std::vector<Waiting> waiting;
    waiting.reserve(registered->size());
    for (const auto& [index, channel] : *registered)
        waiting.push_back({ channel, channel->takeAllRetryData() });

    for (const auto& [channel, batches] : waiting) {
        if (detail::isForkedChild())
            return; // The URL hook forked, and this is the child.
        // What a tick has copied and not cleared yet is on its way.
        detail::Delivery::sendList(channel, detail::PendingEvents::Which::notCopied);
        for (const auto& batch : batches)
            detail::Delivery::sendTaken(channel, batch, withdrawn);
    }
}

std::int64_t TrackerManager::left() const
{
    std::int64_t left = 0;
    const auto registered = configs();
    for (const auto& [index, channel] : *registered)
        left += channel->m_ledger.left();
    return left;
}

} // namespace telvora
