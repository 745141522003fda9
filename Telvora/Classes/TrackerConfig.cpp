#include <Telvora/Classes/TrackerConfig.h>

#include <Telvora/Base/ForkedChild.h>

#include <utility>

namespace telvora {

namespace {

// How many events a batch that the host has made contains, under the channel's key.
std::uint32_t eventsIn(const Batch& batch, const std::string& dataListKey)
{
    if (!batch)
        return 0;
    const Value* list = batch->if_contains(dataListKey);
    const Array* events = list ? list->if_array() : nullptr;
    return events ? static_cast<std::uint32_t>(events->size()) : 0;
}

} // namespace

TrackerConfig::TrackerConfig(std::string index, std::int64_t maxLimit, StringDictionary headers,
    Array&& apiDatas, bool useOstraReport, URLHook urlHook)
    : m_index(std::move(index))
    , m_headers(std::move(headers))
    , m_maxLimit(maxLimit)
    , m_useOstraReport(useOstraReport)
    , m_urlHook(std::move(urlHook))
    , m_pending(Pending { detail::AnyDepth<Array>(std::move(apiDatas)), 0, nullptr })
    , m_retryCache([this](detail::LedgerShare share, DropReason reason) {
        m_ledger.droppedWaiting(share, reason);
    })
{
    if (m_urlHook)
        detail::noteHostClosure();
    m_ledger.appended(m_pending.with([](const Pending& pending) {
        return static_cast<std::int64_t>(pending.apiDatas->size());
    }));
}

TrackerConfig::TrackerConfig(std::string index, std::int64_t maxLimit, StringDictionary headers,
    const Array& apiDatas, bool useOstraReport, URLHook urlHook)
    : TrackerConfig(std::move(index), maxLimit, std::move(headers), copy(apiDatas), useOstraReport,
        std::move(urlHook))
{
}

std::shared_ptr<const TrackerCommonData> TrackerConfig::commonData() const
{
    const auto commonData = m_commonData.get();
    return commonData ? commonData : std::make_shared<const TrackerCommonData>();
}

void TrackerConfig::setCommonData(const TrackerCommonData& commonData)
{
    setCommonData({ copy(commonData.commonDatas), commonData.dataListKey });
}

void TrackerConfig::setCommonData(TrackerCommonData&& commonData)
{
    // The last reader destroys the values without recursion, however deep they are.
    std::shared_ptr<const TrackerCommonData> shared(
        new TrackerCommonData(std::move(commonData)), [](TrackerCommonData* last) {
            dispose(std::move(last->commonDatas));
            delete last;
        });
    m_commonData.set(std::move(shared));
}

void TrackerConfig::insert(TrackerRetryEntry retry)
{
    if (!retry)
        return;
    const detail::LedgerShare share { eventsIn(retry->data, commonData()->dataListKey), 1 };
    retry->giveShare(share);
    m_ledger.insertedByHost(share);
    m_retryCache.insert(std::move(retry));
}

TrackerRetryEntry TrackerConfig::popRetryData()
{
    auto taken = m_retryCache.take();
    m_ledger.takenByHost(taken.share);
    return std::move(taken.entry);
}

Array TrackerConfig::apiDatas() const
{
    return m_pending.with([](const Pending& pending) {
        return copy(pending.sending ? *pending.sending : *pending.apiDatas);
    });
}

LedgerSnapshot TrackerConfig::ledger() const
{
    return detail::isForkedChild() ? LedgerSnapshot() : m_ledger.snapshot();
}

bool TrackerConfig::append(Dictionary& event)
{
    return m_pending.with([&](Pending& pending) {
        Array& list = *pending.apiDatas;
        // Only this can throw, and nothing has changed yet.
        list.reserve(list.size() + 1);
        list.emplace_back(std::move(event));
        m_ledger.appended(1);
        return static_cast<std::int64_t>(list.size()) >= m_maxLimit;
    });
}

const Dictionary& TrackerConfig::lastEvent() const
{
    return *m_pending.with(
        [](const Pending& pending) { return &pending.apiDatas->back().get_object(); });
}

std::uint32_t TrackerConfig::takeAll(const std::shared_ptr<Array>& place)
{
    return m_pending.with([&](Pending& pending) {
        place->swap(*pending.apiDatas);
        pending.sending = place;
        return static_cast<std::uint32_t>(place->size() - std::exchange(pending.copied, 0));
    });
}

void TrackerConfig::finishSending()
{
    // It may be the last reference to the batch, which is then destroyed after the lock is
    // released.
    const auto sent
        = m_pending.with([](Pending& pending) { return std::exchange(pending.sending, nullptr); });
}

TrackerConfig::Copied TrackerConfig::copyAll()
{
    return m_pending.with([](Pending& pending) {
        const Array& list = *pending.apiDatas;
        const auto newEvents = static_cast<std::uint32_t>(list.size() - pending.copied);
        Copied copied { detail::AnyDepth<Array>(copy(list)), newEvents };
        pending.copied = list.size();
        return copied;
    });
}

void TrackerConfig::clear()
{
    const Pending cleared = m_pending.exchange({});
    // Events that arrived after the copy are lost; the design accepts that.
    const std::size_t unsent = cleared.apiDatas->size() - cleared.copied;
    m_ledger.droppedPending(static_cast<std::int64_t>(unsent), DropReason::clearedAfterCopy);
}

TrackerRetryCache::Taken TrackerConfig::takeRetryData()
{
    auto taken = m_retryCache.take();
    m_ledger.retried(taken.share);
    return taken;
}

} // namespace telvora
