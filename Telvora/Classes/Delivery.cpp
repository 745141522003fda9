#include <Telvora/Classes/Delivery.h>

#include <Telvora/Base/AddressText.h>
#include <Telvora/Base/HostCall.h>
#include <Telvora/Base/Signal.h>
#include <Telvora/Base/UUIDText.h>
#include <Telvora/Classes/Diagnostics.h>
#include <Telvora/Classes/TrackerManager.h>
#include <Telvora/Classes/Utils/TrackerNetwork.h>
#include <Telvora/Platform/Clock.h>
#include <Telvora/Platform/Platform.h>
#include <Telvora/Platform/UUIDSource.h>

#include <limits>
#include <new>
#include <optional>
#include <string>
#include <string_view>
#include <utility>

namespace telvora::detail {

// One upload: called with its end, it records that on the channel's ledger. If it is destroyed
// without a call, because something threw, it records an internal error.
class Delivery::Upload {
public:
    Upload(std::shared_ptr<TrackerConfig> config, LedgerShare share, Uploads::Withdrawn withdrawn,
        std::int64_t failures = 0,
        std::int64_t maxRetryCount = TrackerRetryData::defaultMaxRetryCount)
        : m_config(std::move(config))
        , m_share(share)
        , m_failures(failures)
        , m_maxRetryCount(maxRetryCount)
        , m_withdrawn(std::move(withdrawn))
    {
        if (const auto policy = m_config->retryPolicy())
            m_maxRetryCount = policy->retries();
    }
    Upload(Upload&&) noexcept = default;
    ~Upload()
    {
        if (!m_config)
            return;
        m_config->m_ledger.droppedInFlight(m_share, DropReason::internalError);
        noteFailure("There is no memory, or a service threw", 0, DropReason::internalError);
    }

    const std::shared_ptr<TrackerConfig>& config() const { return m_config; }

    // Set once the host withdraws the consent that it gave when the upload began.
    const Uploads::Withdrawn& withdrawn() const { return m_withdrawn; }

    // The same for all tries of the batch.
    const std::string& batchId() const { return m_batchId; }
    void setBatchId(std::string batchId) { m_batchId = std::move(batchId); }

    // When it failed for the first time; 0 before.
    void setArrival(std::uint64_t arrival) { m_arrival = arrival; }

    // For people alone, so without a user and password.
    void setURL(std::string_view url) { m_url = withoutUserInfo(url); }

    void operator()(const TrackerNetwork::PostResult& result, Batch param)
    {
        record(result, std::move(param));
        m_config = nullptr;
    }

    // For a batch that can never be sent.
    void giveUp(std::string_view reason)
    {
        noteFailure(reason, 0, DropReason::retriesExhausted);
        m_config->m_ledger.droppedInFlight(m_share, DropReason::retriesExhausted);
        m_config = nullptr;
    }

private:
    void record(const TrackerNetwork::PostResult& result, Batch param)
    {
        ChannelLedger& ledger = m_config->m_ledger;
        if (result.end == TrackerNetwork::PostEnd::accepted)
            return ledger.delivered(m_share);
        const auto reason
            = m_withdrawn->load() ? std::optional(DropReason::disabled) : dropReason(result.end);
        if (reason)
            return end(result, *reason);
        if (!TrackerManager::haveLimits(*m_config)) {
            comeBack(result, std::move(param));
            // They may have been set meanwhile.
            return TrackerManager::holdLimitsSoon(m_config);
        }
        TrackerManager::shared().m_queue->barrierAsync(
            [upload = std::move(*this), result, param = std::move(param)]() mutable {
                try {
                    upload.comeBackWithinLimits(result, std::move(param));
                    upload.m_config = nullptr;
                } catch (...) {
                    // The upload's destructor records an internal error.
                }
            });
    }

    // In a barrier block of the manager's queue.
    void comeBackWithinLimits(const TrackerNetwork::PostResult& result, Batch param)
    {
        const TrackerManager& manager = TrackerManager::shared();
        const Held held { m_share.events, 1, static_cast<std::int64_t>(textBytes(param)) };
        const auto reason = m_withdrawn->load() ? std::optional(DropReason::disabled)
            : manager.hasRoom(m_config, held)   ? std::nullopt
                                                : std::optional(DropReason::overLimit);
        if (reason)
            return end(result, *reason);
        comeBack(result, std::move(param));
        manager.holdLimits(m_config);
    }

    // There is no further try.
    void end(const TrackerNetwork::PostResult& result, DropReason reason)
    {
        noteFailure(result.reason, result.status, reason);
        m_config->m_ledger.droppedInFlight(m_share, reason);
    }

    // Into the retry cache.
    void comeBack(const TrackerNetwork::PostResult& result, Batch param)
    {
        auto retry = std::make_shared<TrackerRetryData>(std::move(param), m_failures + 1);
        retry->batchId = std::move(m_batchId);
        retry->arrival = m_arrival != 0 ? m_arrival : nextArrival();
        retry->giveShare(m_share);
        noteFailure(result.reason, result.status, std::nullopt);
        m_config->m_ledger.failedIntoRetry(m_share);
        TrackerConfig::DueTime due;
        try {
            due = m_config->keep(retry, result.retryAfter);
        } catch (...) {
            // A service of the platform threw.
            return m_config->m_ledger.droppedWaiting(retry->takeShare(), DropReason::internalError);
        }
        // Withdrawn meanwhile, and perhaps after the waiting batches were dropped.
        if (m_withdrawn->load())
            m_config->drop(retry, due, DropReason::disabled);
    }

    // Absent if the batch will be sent again.
    std::optional<DropReason> dropReason(TrackerNetwork::PostEnd end) const
    {
        if (end == TrackerNetwork::PostEnd::unencodable)
            return DropReason::unencodable;
        if (end == TrackerNetwork::PostEnd::answerNotObject)
            return DropReason::answerNotObject;
        if (m_failures >= m_maxRetryCount)
            return DropReason::retriesExhausted;
        return std::nullopt;
    }

    // On the ledger, and for the host's diagnostics.
    void noteFailure(
        std::string_view reason, int status, std::optional<DropReason> dropped) const noexcept
    try {
        UploadFailure failure { platform().clock.secondsSince1970(), m_url, status,
            std::string(reason), next(m_failures), next(m_maxRetryCount), outcomeFor(dropped) };
        if (Diagnostics::areWanted()) {
            Diagnostics::report({
                .kind = dropped ? Diagnostic::Kind::batchGivenUp : Diagnostic::Kind::uploadFailed,
                .index = m_config->index(),
                .upload = failure,
                .events = m_share.events,
                .dropReason = dropped,
            });
        }
        m_config->m_ledger.uploadFailed(std::move(failure));
    } catch (const std::bad_alloc&) {
        // The ledger keeps the failure before.
    }

    static UploadFailure::Outcome outcomeFor(std::optional<DropReason> dropped)
    {
        if (!dropped)
            return UploadFailure::Outcome::waiting;
        return dropped == DropReason::retriesExhausted ? UploadFailure::Outcome::givenUp
                                                       : UploadFailure::Outcome::dropped;
    }

    // An entry of the host's may have any count.
    static std::int64_t next(std::int64_t count)
    {
        return count < std::numeric_limits<std::int64_t>::max() ? count + 1 : count;
    }

    std::shared_ptr<TrackerConfig> m_config;
    LedgerShare m_share;
    std::int64_t m_failures;
    std::int64_t m_maxRetryCount;
    std::string m_url;
    std::string m_batchId;
    std::uint64_t m_arrival = 0;
    Uploads::Withdrawn m_withdrawn;
    // Ends after the upload is on the ledger.
    Uploads::UnderWay m_underWay;
};

void Delivery::sendList(const std::shared_ptr<TrackerConfig>& config, PendingEvents::Which which)
{
    if (!Uploads::shared().mayBegin())
        return;
    auto withdrawn = Uploads::shared().consent();
    PendingEvents& pending = *config->m_pending;
    try {
        // Everything that can throw is done before the list is emptied.
        const Batch batch
            = pending.batch(config->m_commonData.get(), config->bodyEncoding(), which);
        if (!batch)
            return;
        const LedgerShare share { pending.beginSending(batch), 1 };
        config->m_ledger.posted(share);
        post(Upload(config, share, std::move(withdrawn)), batch);
        pending.finishSending();
    } catch (...) {
        // There is no memory for a batch: the events stay pending.
    }
}

void Delivery::sendNormalData(const std::shared_ptr<TrackerConfig>& config,
    const PendingEvents::Copied& apiDatas, Uploads::Withdrawn withdrawn)
{
    const LedgerShare share { apiDatas.newEvents, 1 };
    config->m_ledger.posted(share);
    Upload upload(config, share, std::move(withdrawn));
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
    // A patient channel's batches go when they are due.
    if (!Uploads::shared().mayBegin() || config->isPatient())
        return;
    auto withdrawn = Uploads::shared().consent();
    sendTaken(config, config->takeRetryData(), std::move(withdrawn));
}

void Delivery::sendTaken(const std::shared_ptr<TrackerConfig>& config,
    const TrackerRetryCache::Taken& taken, Uploads::Withdrawn withdrawn)
{
    const auto& [entry, share] = taken;
    if (!entry)
        return;
    Upload upload(config, share, std::move(withdrawn), entry->retryCount, entry->maxRetryCount);
    try {
        upload.setBatchId(entry->batchId);
        upload.setArrival(entry->arrival);
    } catch (...) {
        return; // The upload's destructor records an internal error.
    }
    if (entry->data)
        post(std::move(upload), entry->data);
    else
        upload.giveUp("The retry entry has no data");
}

void Delivery::post(Upload upload, const Batch& batch) noexcept
{
    const std::shared_ptr<TrackerConfig> config = upload.config();
    const NoWaitScope inUpload;
    try {
        if (upload.withdrawn()->load())
            return upload(
                { TrackerNetwork::PostEnd::notAccepted, "The library is disabled" }, batch);
        std::string url;
        const TrackerConfig::URLHook& urlHook = config->urlHook();
        const HostCall asked = urlHook
            ? callHost([&] { url = urlHook(); }, { "The URL hook", config->index() })
            : HostCall::notCalled;
        if (asked == HostCall::threw)
            config->m_ledger.hostThrew();
        if (asked != HostCall::returned) {
            // Without an address the upload fails like any other, and is tried again.
            const char* reason = asked == HostCall::threw ? "The URL hook threw"
                : urlHook                                 ? "The process is ending"
                                                          : "The channel has no URL hook";
            upload({ TrackerNetwork::PostEnd::notAccepted, reason }, batch);
            return;
        }
        upload.setURL(url);
        if (config->badAddress() == BadAddress::fail && !isAddressText(url))
            return upload({ TrackerNetwork::PostEnd::notAccepted, badAddressText(url) }, batch);
        if (config->hasBatchId() && upload.batchId().empty())
            upload.setBatchId(uuidText(platform().uuids.next()));
        const auto leftOut
            = [&](std::string_view header) { Diagnostics::headerLeftOut(config->index(), header); };
        const TrackerNetwork::PostOptions options {
            .encoding = config->bodyEncoding(),
            .batchId = config->hasBatchId() ? upload.batchId() : std::string(),
            .withdrawn = upload.withdrawn(),
            .leftOut = leftOut,
        };
        TrackerNetwork::shareInstance().postWithEnds(
            url, batch, config->headers(), std::move(upload), options);
    } catch (...) {
        // The upload's destructor records an internal error.
    }
}

} // namespace telvora::detail
