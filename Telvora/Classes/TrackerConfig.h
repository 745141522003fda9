#pragma once

#include <Telvora/Base/Dictionary.h>
#include <Telvora/Base/Export.h>
#include <Telvora/Base/Guarded.h>
#include <Telvora/Base/HostCall.h>
#include <Telvora/Base/ProcessState.h>
#include <Telvora/Classes/ChannelChoices.h>
#include <Telvora/Classes/Domain/TrackerDomainConstant.h>
#include <Telvora/Classes/Limits.h>
#include <Telvora/Classes/RetryPolicy.h>
#include <Telvora/Classes/TrackerLedger.h>
#include <Telvora/Classes/TrackerRetryCache.h>
#include <Telvora/Classes/Utils/CommonData.h>

#include <atomic>
#include <chrono>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace telvora {

namespace detail {
class Bounds;
class Delivery;
class PendingEvents;
} // namespace detail

/// One channel: where its batches are sent, how many events it collects before it sends them at
/// once, its common data, and the host's hooks.
///
/// Life: made by the host, registered with the manager once, and shared by both from then on.
///
/// Threads: any. The event list changes only in barrier blocks of the manager's queue.
///
/// Failure: apiDatas(), setCommonData(), setNonFiniteCost(), insert() and the constructors throw
/// std::bad_alloc. What a hook throws is caught and counted on the ledger.
class TELVORA_EXPORT TrackerConfig : public std::enable_shared_from_this<TrackerConfig> {
public:
    /// The channels for which the library has operations.
    using DefaultIndex = telvora::DefaultIndex;
    /// Takes and returns nothing; a hook of start, stop or restart.
    using Hook = std::function<void()>;
    /// Returns the address of the channel, http or https.
    using URLHook = std::function<std::string()>;

    /// `index` names the channel: the raw value of a DefaultIndex, or any other text.
    /// `maxLimit` is the number of events at which the list is sent at once; with 0 or less every
    /// event is. `headers` are added to every request. `apiDatas` are the first events, oldest
    /// first, each a Dictionary of any depth. `useOstraReport` is the host's note to itself:
    /// whether a provider is installed decides where APM reports go. `urlHook` returns the address
    /// and is called for every request, possibly inside the manager's barrier: other events wait
    /// for it, and it must not call TrackerManager::timerEventHandler(). With an empty one every
    /// upload fails and is retried.
    TrackerConfig(std::string index, std::int64_t maxLimit, StringDictionary headers = {},
        Array&& apiDatas = {}, bool useOstraReport = false, URLHook urlHook = {});
    /// The same, with a copy of the events.
    TrackerConfig(std::string index, std::int64_t maxLimit, StringDictionary headers,
        const Array& apiDatas, bool useOstraReport = false, URLHook urlHook = {});
    ~TrackerConfig();

    TrackerConfig(const TrackerConfig&) = delete;
    TrackerConfig& operator=(const TrackerConfig&) = delete;

    // As given to the constructor; none of them changes.

    /// The channel's name.
    const std::string& index() const { return m_index; }
    /// The number of events at which the list is sent at once.
    std::int64_t maxLimit() const { return m_maxLimit; }
    /// The headers of every request.
    const StringDictionary& headers() const { return m_headers; }
    /// The host's note to itself.
    bool useOstraReport() const { return m_useOstraReport; }
    /// The address; may be empty.
    const URLHook& urlHook() const { return m_urlHook; }

    /// Called by start() for a channel that is not yet running.
    void setStartHook(Hook hook) { m_startHook.set(detail::keepHostClosure(std::move(hook))); }
    /// Called by stop() and when the application enters the background.
    void setStopHook(Hook hook) { m_stopHook.set(detail::keepHostClosure(std::move(hook))); }
    /// Called when the application returns to the foreground.
    void setRestartHook(Hook hook) { m_restartHook.set(detail::keepHostClosure(std::move(hook))); }

    /// Null until setStartHook() was called. An empty closure is present, and is not called.
    std::shared_ptr<const Hook> startHook() const { return m_startHook.get(); }
    /// Never null; does nothing until set. An empty closure is not called.
    std::shared_ptr<const Hook> stopHook() const { return m_stopHook.get(); }
    /// The same.
    std::shared_ptr<const Hook> restartHook() const { return m_restartHook.get(); }

    /// Never null; until set it has no fields, and the event list is under "data-list".
    std::shared_ptr<const TrackerCommonData> commonData() const;
    /// Replaces the common data; moved or copied without recursion, however deep they are.
    void setCommonData(TrackerCommonData&& commonData);
    /// The same, with a copy.
    void setCommonData(const TrackerCommonData& commonData);

    /// How the channel's batches are sent from now on; plain until set. A batch is compressed when
    /// it is made, on the thread that sends it, and waits for its retry compressed. If a full list
    /// made it, that is inside the manager's barrier, and other events wait meanwhile. A retry
    /// entry of the host's is compressed for each try.
    void setBodyEncoding(BodyEncoding encoding);
    /// How the channel's batches are sent now.
    BodyEncoding bodyEncoding() const { return m_bodyEncoding.load(std::memory_order_relaxed); }

    /// What a number that is not finite costs, in events and in common data from now on and in the
    /// common data of now. Retry entries that the host made always lose their batch. The
    /// constructor's events keep what they cost.
    void setNonFiniteCost(NonFiniteCost cost);
    /// What setNonFiniteCost() was told; NonFiniteCost::batch until then.
    NonFiniteCost nonFiniteCost() const { return m_nonFiniteCost.load(std::memory_order_relaxed); }

    /// What an address of the URL hook does that cannot be parsed.
    void setBadAddress(BadAddress badAddress);
    /// What setBadAddress() was told; BadAddress::stop until then.
    BadAddress badAddress() const { return m_badAddress.load(std::memory_order_relaxed); }

    /// Asks the URL hook once, and returns what is wrong with its answer, for a person; absent if
    /// it is an address. For hosts that check it before they register the channel.
    std::optional<std::string> addressError() const;

    /// Whether requests have the header "x-batch-id": a random UUID that is the same in all tries
    /// of a batch, so that a collector can tell a repeat from an equal batch. It replaces a header
    /// of the same name. No until set.
    void setBatchId(bool hasBatchId);
    /// What setBatchId() was told.
    bool hasBatchId() const { return m_hasBatchId.load(std::memory_order_relaxed); }

    /// How patient the channel is with failures from now on; absent, as until set: a waiting batch
    /// has a chance with each event and tick. With a policy it goes by itself when it is due, and
    /// nothing else tries it but TrackerManager::flush(). It holds for entries of the host's too,
    /// whose maxRetryCount it sets, and a "Retry-After" of a status 429 or 503 makes a wait longer.
    void setRetryPolicy(std::optional<RetryPolicy> policy);
    /// What setRetryPolicy() was told.
    std::optional<RetryPolicy> retryPolicy() const;

    /// How much the channel keeps from now on; without limits, as until set, it keeps all. What it
    /// keeps beyond them is dropped before any event is taken in that is handed over later. See
    /// also TrackerManager::setLimits().
    void setLimits(const Limits& limits);
    /// What setLimits() was told.
    Limits limits() const { return m_limits.get(); }

    /// Puts an entry into the retry cache. Returns before the entry is there; with limits it waits
    /// for the events that were handed over before, and popRetryData() does not see it until then.
    /// Like an event, this is a use of the library: in a child that is forked later the library is
    /// inert.
    void insert(TrackerRetryEntry retry);
    /// The first entry of the retry cache, or null. It is removed in a second step. The caller owns
    /// the entry and the library no longer counts it. This is a use of the library, too.
    TrackerRetryEntry popRetryData();

    /// The batches that failed. To change it, use insert() and popRetryData(), which keep the
    /// ledger.
    const TrackerRetryCache& retryCache() const { return m_retryCache; }

    /// A copy of the pending events, which are kept as text: each call reads it anew. An unsigned
    /// integer that fits a signed one is a signed one there; the two compare equal.
    Array apiDatas() const;

    /// What has become of the channel's events and batches so far.
    LedgerSnapshot ledger() const;

private:
    // Limits, intake and delivery, the only code that changes the pending events.
    friend class detail::Bounds;
    friend class detail::Delivery;
    friend class TrackerManager;

    using DueTime = std::chrono::steady_clock::time_point;

    // Puts an entry into the cache, and with a policy sees to it that it is tried when it is due.
    // Returns that time.
    DueTime keep(const TrackerRetryEntry& entry, std::chrono::duration<double> asked);
    // The same within the limits, in a barrier block of the manager's queue.
    void keepWithinLimits(const TrackerRetryEntry& entry);
    static std::chrono::nanoseconds schedule(
        TrackerRetryData& entry, const RetryPolicy& policy, std::chrono::duration<double> asked);
    void sendLater(const TrackerRetryEntry& entry, std::chrono::nanoseconds wait);
    // Takes an entry out of the cache, if it is still there, and counts it as dropped.
    void drop(const TrackerRetryEntry& entry, DueTime due, DropReason reason);
    // Counts events as dropped that have left the list.
    void dropPending(std::int64_t events, DropReason reason);
    void sendDue(const TrackerRetryEntry& entry, DueTime due);
    detail::Held held();
    bool isBounded() const { return m_isBounded.load(std::memory_order_relaxed); }
    bool isPatient() const { return m_isPatient.load(std::memory_order_relaxed); }

    TrackerRetryCache::Taken takeRetryData();
    std::vector<TrackerRetryCache::Taken> takeAllRetryData();

    const std::string m_index;
    const StringDictionary m_headers;
    const std::int64_t m_maxLimit;
    const bool m_useOstraReport;
    const URLHook m_urlHook;
    const unsigned m_renewalCount = detail::ProcessState::renewalCount();

    // Never null.
    detail::Guarded<std::shared_ptr<const detail::EncodedCommonData>> m_commonData;
    detail::Guarded<std::shared_ptr<const Hook>> m_startHook;
    detail::Guarded<std::shared_ptr<const Hook>> m_stopHook { std::make_shared<const Hook>([] {}) };
    detail::Guarded<std::shared_ptr<const Hook>> m_restartHook { m_stopHook.get() };

    std::atomic<BodyEncoding> m_bodyEncoding { BodyEncoding::plain };
    std::atomic<NonFiniteCost> m_nonFiniteCost { NonFiniteCost::batch };
    std::atomic<BadAddress> m_badAddress { BadAddress::stop };
    std::atomic<bool> m_hasBatchId { false };
    // Whether there is a policy. The intake asks for every event.
    std::atomic<bool> m_isPatient { false };
    detail::Guarded<std::optional<RetryPolicy>> m_retryPolicy;
    // Whether there are limits. The intake asks for every event.
    std::atomic<bool> m_isBounded { false };
    detail::Guarded<Limits> m_limits;
    const std::unique_ptr<detail::PendingEvents> m_pending;

    detail::ChannelLedger m_ledger;
    // Declared after the ledger, on which it records lost entries until it is destroyed.
    TrackerRetryCache m_retryCache;
};

} // namespace telvora
