#include <Telvora/Classes/TrackerConfig.h>

#include <utility>

namespace telvora {

namespace {

// A batch that the host puts into the cache itself: its events are under the channel's own key.
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
    , m_commonData(std::make_shared<TrackerCommonData>())
    , m_stopHook(std::make_shared<Hook>([] {}))
    , m_restartHook(m_stopHook)
    , m_apiDatas(std::move(apiDatas))
    , m_retryCache(
          [this](LedgerShare share, DropReason reason) { m_ledger.droppedWaiting(share, reason); })
{
    m_ledger.appended(static_cast<std::int64_t>(m_apiDatas->size()));
}

TrackerConfig::TrackerConfig(std::string index, std::int64_t maxLimit, StringDictionary headers,
    const Array& apiDatas, bool useOstraReport, URLHook urlHook)
    : TrackerConfig(std::move(index), maxLimit, std::move(headers), copy(apiDatas), useOstraReport,
        std::move(urlHook))
{
}

// Here and below: what was there before goes after the lock, since it may hold things of the
// host's.
void TrackerConfig::setStartHook(Hook hook)
{
    std::shared_ptr<const Hook> shared = std::make_shared<Hook>(std::move(hook));
    MutexLock locked(m_lock);
    m_startHook.swap(shared);
}

void TrackerConfig::setStopHook(Hook hook)
{
    std::shared_ptr<const Hook> shared = std::make_shared<Hook>(std::move(hook));
    MutexLock locked(m_lock);
    m_stopHook.swap(shared);
}

void TrackerConfig::setRestartHook(Hook hook)
{
    std::shared_ptr<const Hook> shared = std::make_shared<Hook>(std::move(hook));
    MutexLock locked(m_lock);
    m_restartHook.swap(shared);
}

std::shared_ptr<const TrackerConfig::Hook> TrackerConfig::startHook() const
{
    MutexLock locked(m_lock);
    return m_startHook;
}

std::shared_ptr<const TrackerConfig::Hook> TrackerConfig::stopHook() const
{
    MutexLock locked(m_lock);
    return m_stopHook;
}

std::shared_ptr<const TrackerConfig::Hook> TrackerConfig::restartHook() const
{
    MutexLock locked(m_lock);
    return m_restartHook;
}

std::shared_ptr<const TrackerCommonData> TrackerConfig::commonData() const
{
    MutexLock locked(m_lock);
    return m_commonData;
}

void TrackerConfig::setCommonData(const TrackerCommonData& commonData)
{
    setCommonData({ copy(commonData.commonDatas), commonData.dataListKey });
}

void TrackerConfig::setCommonData(TrackerCommonData&& commonData)
{
    // However deep the host's values are, the last reader destroys them without recursion.
    std::shared_ptr<const TrackerCommonData> shared(
        new TrackerCommonData(std::move(commonData)), [](TrackerCommonData* last) {
            dispose(std::move(last->commonDatas));
            delete last;
        });
    MutexLock locked(m_lock);
    m_commonData.swap(shared);
}

void TrackerConfig::insert(TrackerRetryEntry retry)
{
    if (!retry)
        return;
    const LedgerShare share { eventsIn(retry->data, commonData()->dataListKey), 1 };
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
    MutexLock locked(m_listLock);
    return copy(m_leaving ? *m_leaving : *m_apiDatas);
}

LedgerSnapshot TrackerConfig::ledger() const
{
    return m_ledger.snapshot();
}

bool TrackerConfig::append(Dictionary& event)
{
    MutexLock locked(m_listLock);
    // The one thing here that can fail comes before anything has changed.
    m_apiDatas->reserve(m_apiDatas->size() + 1);
    m_apiDatas->emplace_back(std::move(event));
    m_ledger.appended(1);
    return static_cast<std::int64_t>(m_apiDatas->size()) >= m_maxLimit;
}

std::uint32_t TrackerConfig::takeAll(const std::shared_ptr<Array>& place)
{
    MutexLock locked(m_listLock);
    place->swap(*m_apiDatas);
    m_leaving = place;
    return static_cast<std::uint32_t>(place->size() - std::exchange(m_copied, 0));
}

void TrackerConfig::hasLeft()
{
    std::shared_ptr<const Array> left;
    MutexLock locked(m_listLock);
    // It may be the last of its batch: it goes after the lock.
    m_leaving.swap(left);
}

TrackerConfig::Copied TrackerConfig::copyAll()
{
    MutexLock locked(m_listLock);
    const auto fresh = static_cast<std::uint32_t>(m_apiDatas->size() - m_copied);
    Copied copied { AnyDepth<Array>(copy(*m_apiDatas)), fresh };
    m_copied = m_apiDatas->size();
    return copied;
}

void TrackerConfig::clear()
{
    AnyDepth<Array> cleared;
    std::size_t unsent = 0;
    {
        MutexLock locked(m_listLock);
        unsent = m_apiDatas->size() - m_copied;
        std::swap(cleared, m_apiDatas);
        m_copied = 0;
    }
    // What came in after the copy is lost with it; a gap that the design accepts.
    m_ledger.droppedPending(static_cast<std::int64_t>(unsent), DropReason::clearedAfterCopy);
}

TrackerRetryCache::Taken TrackerConfig::takeRetryData()
{
    auto taken = m_retryCache.take();
    m_ledger.retried(taken.share);
    return taken;
}

} // namespace telvora
