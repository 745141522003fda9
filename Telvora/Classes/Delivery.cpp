#include <Telvora/Classes/Delivery.h>

#include <Telvora/Base/HostCall.h>
#include <Telvora/Classes/Utils/TrackerNetwork.h>

#include <utility>

namespace telvora::detail {

// One upload: called with its end, it records that on the channel's ledger. If it is destroyed
// without a call, because something threw, it records an internal error.
class Delivery::Upload {
public:
    Upload(std::shared_ptr<TrackerConfig> config, LedgerShare share, std::int64_t failures = 0,
        std::int64_t maxRetryCount = TrackerRetryData::defaultMaxRetryCount)
        : m_config(std::move(config))
        , m_share(share)
        , m_failures(failures)
        , m_maxRetryCount(maxRetryCount)
    {
    }
    Upload(Upload&&) noexcept = default;
    ~Upload()
    {
        if (m_config)
            m_config->m_ledger.droppedInFlight(m_share, DropReason::internalError);
    }

    const std::shared_ptr<TrackerConfig>& config() const { return m_config; }

    void operator()(TrackerNetwork::PostEnd end, Batch param)
    {
        record(end, std::move(param));
        m_config = nullptr;
    }

private:
    void record(TrackerNetwork::PostEnd end, Batch param)
    {
        ChannelLedger& ledger = m_config->m_ledger;
        switch (end) {
        case TrackerNetwork::PostEnd::accepted:
            return ledger.delivered(m_share);
        case TrackerNetwork::PostEnd::unencodable:
            return ledger.droppedInFlight(m_share, DropReason::unencodable);
        case TrackerNetwork::PostEnd::answerNotObject:
            return ledger.droppedInFlight(m_share, DropReason::answerNotObject);
        case TrackerNetwork::PostEnd::notAccepted:
            break;
        }
        if (m_failures >= m_maxRetryCount)
            return ledger.droppedInFlight(m_share, DropReason::retriesExhausted);
        auto retry = std::make_shared<TrackerRetryData>(std::move(param), m_failures + 1);
        retry->giveShare(m_share);
        ledger.failedIntoRetry(m_share);
        m_config->m_retryCache.insert(std::move(retry));
    }

    std::shared_ptr<TrackerConfig> m_config;
    LedgerShare m_share;
    std::int64_t m_failures;
    std::int64_t m_maxRetryCount;
};

void Delivery::sendList(const std::shared_ptr<TrackerConfig>& config)
{
    PendingEvents& pending = *config->m_pending;
    try {
        // Everything that can throw is done before the list is emptied.
        const Batch batch = pending.batch(config->m_commonData.get(), config->bodyEncoding());
        const LedgerShare share { pending.beginSending(batch), 1 };
        config->m_ledger.posted(share);
        post(Upload(config, share), batch);
        pending.finishSending();
    } catch (...) {
        // There is no memory for a batch: the events stay pending.
    }
}

void Delivery::sendNormalData(
    const std::shared_ptr<TrackerConfig>& config, const PendingEvents::Copied& apiDatas)
{
    const LedgerShare share { apiDatas.newEvents, 1 };
    config->m_ledger.posted(share);
    Upload upload(config, share);
    try {
        const Batch batch
            = makeTextBatch(config->m_commonData.get(), apiDatas.events, config->bodyEncoding());
        post(std::move(upload), batch);
    } catch (...) {
        // The upload's destructor records an internal error.
    }
}

void Delivery::sendRetryData(const std::shared_ptr<TrackerConfig>& config)
{
    const auto [entry, share] = config->takeRetryData();
    if (!entry)
        return;
    if (!entry->data) {
        // An entry without data can never be sent.
        config->m_ledger.droppedInFlight(share, DropReason::retriesExhausted);
        return;
    }
    post(Upload(config, share, entry->retryCount, entry->maxRetryCount), entry->data);
}

void Delivery::post(Upload upload, const Batch& batch) noexcept
{
    const std::shared_ptr<TrackerConfig> config = upload.config();
    try {
        std::string url;
        const TrackerConfig::URLHook& urlHook = config->urlHook();
        const HostCall asked = urlHook ? callHost([&] { url = urlHook(); }) : HostCall::notCalled;
        if (asked == HostCall::threw)
            config->m_ledger.hostThrew();
        if (asked != HostCall::returned) {
            // Without an address the upload fails like any other, and is tried again.
            upload(TrackerNetwork::PostEnd::notAccepted, batch);
            return;
        }
        TrackerNetwork::shareInstance().postWithEnds(
            url, batch, config->headers(), std::move(upload), config->bodyEncoding());
    } catch (...) {
        // The upload's destructor records an internal error.
    }
}

} // namespace telvora::detail
