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
#include <utility>

namespace telvora {

namespace {

using std::chrono::nanoseconds;

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
    m_retryPolicy.with([&](std::optional<RetryPolicy>& set) {
        set = policy;
        m_isPatient.store(policy.has_value(), std::memory_order_relaxed);
    });
    if (!policy)
        return;
    // Those that wait already have no time of their own, and nothing else tries them now.
    m_retryCache.forEach(
        [&](const TrackerRetryEntry& entry) { sendLater(entry, schedule(*entry, *policy, {})); });
}

std::optional<RetryPolicy> TrackerConfig::retryPolicy() const
{
    return m_retryPolicy.get();
}

void TrackerConfig::setLimits(const Limits& limits)
{
    m_limits.with([&](Limits& set) {
        set = limits;
        m_isBounded.store(limits.areSet(), std::memory_order_relaxed);
    });
    TrackerManager::holdLimitsSoon(weak_from_this().lock());
}

detail::Held TrackerConfig::held()
{
    detail::Held held = m_pending->held();
    held += m_retryCache.held();
    return held;
}

TrackerConfig::DueTime TrackerConfig::keep(
    const TrackerRetryEntry& entry, std::chrono::duration<double> asked)
{
    const auto policy = retryPolicy();
    const nanoseconds wait = policy ? schedule(*entry, *policy, asked) : nanoseconds(0);
    const DueTime due = entry->due;
    m_retryCache.insert(entry);
    if (policy)
        sendLater(entry, wait);
    return due;
}

// Sets when the entry is tried again. Returns how long that is from now.
std::chrono::nanoseconds TrackerConfig::schedule(
    TrackerRetryData& entry, const RetryPolicy& policy, std::chrono::duration<double> asked)
{
    const nanoseconds wait
        = policy.wait(entry.retryCount, asked, policy.jitter ? randomFraction() : 0);
    entry.maxRetryCount = policy.retries();
    entry.due = platform().clock.steadyNow() + wait;
    return wait;
}

// The batch is not kept alive for it: it may be sent or dropped long before.
void TrackerConfig::sendLater(const TrackerRetryEntry& entry, std::chrono::nanoseconds wait)
{
    try {
        const auto send
            = [channel = weak_from_this(), entry = std::weak_ptr(entry), due = entry->due] {
                  const auto self = channel.lock();
                  const auto waiting = entry.lock();
                  if (self && waiting)
                      self->sendDue(waiting, due);
              };
        platform().dispatch.globalAsyncAfter(wait, send);
    } catch (...) {
        // There is no memory for the block: the batch waits for the next flush.
    }
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

void TrackerConfig::drop(const TrackerRetryEntry& entry, DueTime due, DropReason reason)
{
    const auto taken = m_retryCache.takeDue(entry, due);
    m_ledger.droppedWaiting(taken.share, reason);
    detail::Diagnostics::eventsDropped(m_index, reason, taken.share.events);
}

void TrackerConfig::dropPending(std::int64_t events, DropReason reason)
{
    m_ledger.droppedPending(events, reason);
    detail::Diagnostics::eventsDropped(m_index, reason, events);
}

void TrackerConfig::insert(TrackerRetryEntry retry)
{
    const TrackerRetryEntry entry = std::move(retry);
    if (!entry)
        return;
    const std::size_t events = detail::eventsUnder(commonData()->dataListKey, entry->data);
    const detail::LedgerShare share { static_cast<std::uint32_t>(events), 1 };
    entry->giveShare(share);
    m_ledger.insertedByHost(share);
    const auto self = weak_from_this().lock();
    if (self && TrackerManager::haveLimits(*this)) {
        try {
            TrackerManager::shared().m_queue->barrierAsync(
                [self, entry] { self->keepWithinLimits(entry); });
            return;
        } catch (...) {
            // There is no memory for the block. It is kept, and what is too much is dropped later.
        }
    }
    keep(entry, {});
    // They may have been set meanwhile.
    TrackerManager::holdLimitsSoon(self);
}

void TrackerConfig::keepWithinLimits(const TrackerRetryEntry& entry)
{
    const TrackerManager& manager = TrackerManager::shared();
    bool hasRoom = true;
    try {
        hasRoom = manager.hasRoom(shared_from_this(), entry->holds());
    } catch (...) {
        // There is no memory for its text. It is kept, and what is too much is dropped later.
    }
    if (hasRoom) {
        keep(entry, {});
        manager.holdLimits(shared_from_this());
        return;
    }
    const detail::LedgerShare share = entry->takeShare();
    m_ledger.droppedWaiting(share, DropReason::overLimit);
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
