#include <Telvora/Classes/TrackerConfig.h>

#include <Telvora/Base/AddressText.h>
#include <Telvora/Base/Encoder.h>
#include <Telvora/Base/ForkedChild.h>
#include <Telvora/Base/Signal.h>
#include <Telvora/Classes/Delivery.h>
#include <Telvora/Classes/Diagnostics.h>
#include <Telvora/Classes/PendingEvents.h>
#include <Telvora/Classes/TrackerManager.h>
#include <Telvora/Classes/Uploads.h>
#include <Telvora/Platform/Clock.h>
#include <Telvora/Platform/DispatchQueue.h>
#include <Telvora/Platform/Platform.h>
#include <Telvora/Platform/UUIDSource.h>

#include <cstddef>
#include <new>
#include <utility>

namespace telvora {

namespace {

// From 0 up to 1, from the random bits of a UUID in front of those that say its version.
double randomFraction()
{
    const UUID uuid = platform().uuids.next();
    double fraction = 0;
    for (std::size_t place = 0; place < 6; ++place)
        fraction = (fraction + uuid.data[place]) / 256;
    return fraction;
}

} // namespace

TrackerConfig::TrackerConfig(std::string index, std::int64_t maxLimit, StringDictionary headers,
    Array&& apiDatas, bool useOstraReport, URLHook urlHook)
    : m_index(std::move(index))
    , m_headers(std::move(headers))
    , m_maxLimit(maxLimit)
    , m_useOstraReport(useOstraReport)
    , m_urlHook(std::move(urlHook))
    , m_commonData(std::make_shared<const detail::EncodedCommonData>(TrackerCommonData()))
    , m_pending(std::make_unique<detail::PendingEvents>(std::move(apiDatas)))
    , m_retryCache([this](detail::LedgerShare share, DropReason reason) {
        m_ledger.droppedWaiting(share, reason);
        detail::Diagnostics::eventsDropped(m_index, reason, share.events);
    })
{
    if (m_urlHook)
        detail::noteHostClosure();
    m_ledger.appended(static_cast<std::int64_t>(m_pending->size()));
}

TrackerConfig::TrackerConfig(std::string index, std::int64_t maxLimit, StringDictionary headers,
    const Array& apiDatas, bool useOstraReport, URLHook urlHook)
    : TrackerConfig(std::move(index), maxLimit, std::move(headers), copy(apiDatas), useOstraReport,
        std::move(urlHook))
{
}

TrackerConfig::~TrackerConfig() = default;

std::shared_ptr<const TrackerCommonData> TrackerConfig::commonData() const
{
    const auto encoded = m_commonData.get();
    if (!encoded) // In a forked child.
        return std::make_shared<const TrackerCommonData>();
    return { encoded, &encoded->data };
}

void TrackerConfig::setCommonData(const TrackerCommonData& commonData)
{
    setCommonData({ copy(commonData.commonDatas), commonData.dataListKey });
}

void TrackerConfig::setCommonData(TrackerCommonData&& commonData)
{
    const auto nonFinite = nonFiniteCost() == NonFiniteCost::null ? detail::NonFinite::asNull
                                                                  : detail::NonFinite::refuse;
    m_commonData.set(
        std::make_shared<const detail::EncodedCommonData>(std::move(commonData), nonFinite));
}

void TrackerConfig::setBodyEncoding(BodyEncoding encoding)
{
    m_bodyEncoding.store(encoding, std::memory_order_relaxed);
}

void TrackerConfig::setNonFiniteCost(NonFiniteCost cost)
{
    m_nonFiniteCost.store(cost, std::memory_order_relaxed);
    setCommonData(*commonData());
}

void TrackerConfig::setBadAddress(BadAddress badAddress)
{
    m_badAddress.store(badAddress, std::memory_order_relaxed);
}

std::optional<std::string> TrackerConfig::addressError() const
{
    std::string url;
    const detail::NoWaitScope inHook;
    const detail::HostCall asked = m_urlHook
        ? detail::callHost([&] { url = m_urlHook(); }, { "The URL hook", m_index })
        : detail::HostCall::notCalled;
    if (asked == detail::HostCall::threw)
        return "The URL hook threw";
    if (asked == detail::HostCall::notCalled)
        return m_urlHook ? "The process is ending" : "The channel has no URL hook";
    if (!detail::isAddressText(url))
        return detail::badAddressText(url);
    return std::nullopt;
}

void TrackerConfig::setBatchId(bool hasBatchId)
{
    m_hasBatchId.store(hasBatchId, std::memory_order_relaxed);
}

void TrackerConfig::setRetryPolicy(std::optional<RetryPolicy> policy)
{
    m_retryPolicy.set(policy);
    m_isPatient.store(policy.has_value(), std::memory_order_relaxed);
    if (!policy)
        return;
    // Those that wait already have no time of their own, and nothing else tries them now.
    for (auto& [entry, share] : m_retryCache.takeAll()) {
        entry->giveShare(share);
        keep(std::move(entry), {});
    }
}

std::optional<RetryPolicy> TrackerConfig::retryPolicy() const
{
    return m_retryPolicy.get();
}

void TrackerConfig::setLimits(const Limits& limits)
{
    m_limits.set(limits);
    m_isBounded.store(limits.areSet(), std::memory_order_relaxed);
    TrackerManager::holdLimitsSoon(weak_from_this().lock());
}

detail::Held TrackerConfig::held() const
{
    detail::Held held = m_pending->held();
    held += m_retryCache.held();
    return held;
}

TrackerConfig::DueTime TrackerConfig::keep(
    TrackerRetryEntry entry, std::chrono::duration<double> asked)
{
    const auto policy = retryPolicy();
    if (!policy) {
        const DueTime due = entry->due;
        m_retryCache.insert(std::move(entry));
        return due;
    }
    const auto wait = policy->wait(entry->retryCount, asked, policy->jitter ? randomFraction() : 0);
    const auto due = platform().clock.steadyNow() + wait;
    entry->maxRetryCount = policy->retries();
    entry->due = due;
    m_retryCache.insert(entry);
    try {
        const auto send = [channel = weak_from_this(), entry = std::move(entry), due] {
            if (const auto self = channel.lock())
                self->sendDue(entry, due);
        };
        platform().dispatch.globalAsyncAfter(wait, send);
    } catch (...) {
        // There is no memory for the block: the batch waits for the next flush.
    }
    return due;
}

void TrackerConfig::sendDue(const TrackerRetryEntry& entry, DueTime due)
{
    if (!isPatient() || !detail::Uploads::shared().mayBegin())
        return;
    auto withdrawn = detail::Uploads::shared().consent();
    const auto taken = m_retryCache.takeDue(entry, due);
    m_ledger.retried(taken.share);
    detail::Delivery::sendTaken(shared_from_this(), taken, std::move(withdrawn));
}

bool TrackerConfig::drop(const TrackerRetryEntry& entry, DueTime due, DropReason reason)
{
    const auto taken = m_retryCache.takeDue(entry, due);
    m_ledger.droppedWaiting(taken.share, reason);
    detail::Diagnostics::eventsDropped(m_index, reason, taken.share.events);
    return taken.entry != nullptr;
}

void TrackerConfig::dropPending(std::int64_t events, DropReason reason)
{
    m_ledger.droppedPending(events, reason);
    detail::Diagnostics::eventsDropped(m_index, reason, events);
}

void TrackerConfig::insert(TrackerRetryEntry retry)
{
    if (!retry)
        return;
    const std::size_t events = detail::eventsUnder(commonData()->dataListKey, retry->data);
    const detail::LedgerShare share { static_cast<std::uint32_t>(events), 1 };
    retry->giveShare(share);
    m_ledger.insertedByHost(share);
    const auto self = weak_from_this().lock();
    if (!self || !TrackerManager::haveLimits(*this)) {
        keep(std::move(retry), {});
        return;
    }
    try {
        TrackerManager::shared().m_queue->barrierAsync(
            [self, retry, share] { self->keepWithinLimits(retry, share); });
    } catch (...) {
        // There is no memory for the block.
        keep(std::move(retry), {});
    }
}

void TrackerConfig::keepWithinLimits(const TrackerRetryEntry& entry, detail::LedgerShare share)
{
    const TrackerManager& manager = TrackerManager::shared();
    bool hasRoom = true;
    try {
        hasRoom = manager.hasRoom(shared_from_this(),
            { .events = share.events,
                .batches = share.batches,
                .bytes = static_cast<std::int64_t>(detail::textBytes(entry->data)) });
    } catch (const std::bad_alloc&) {
        // It is kept, and what is too much is dropped later.
    }
    if (hasRoom) {
        keep(entry, {});
        manager.holdLimits(shared_from_this());
        return;
    }
    m_ledger.droppedWaiting(entry->takeShare(), DropReason::overLimit);
    detail::Diagnostics::eventsDropped(m_index, DropReason::overLimit, share.events);
}

TrackerRetryEntry TrackerConfig::popRetryData()
{
    auto taken = m_retryCache.take();
    m_ledger.takenByHost(taken.share);
    return std::move(taken.entry);
}

Array TrackerConfig::apiDatas() const
{
    return m_pending->shown();
}

LedgerSnapshot TrackerConfig::ledger() const
{
    return detail::isForkedChild() ? LedgerSnapshot() : m_ledger.snapshot();
}

TrackerRetryCache::Taken TrackerConfig::takeRetryData()
{
    auto taken = m_retryCache.take();
    m_ledger.retried(taken.share);
    return taken;
}

std::vector<TrackerRetryCache::Taken> TrackerConfig::takeAllRetryData()
{
    auto taken = m_retryCache.takeAll();
    for (const auto& [entry, share] : taken)
        m_ledger.retried(share);
    return taken;
}

} // namespace telvora
