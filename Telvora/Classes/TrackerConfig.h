#pragma once

#include <Telvora/Base/AnyDepth.h>
#include <Telvora/Base/Dictionary.h>
#include <Telvora/Base/Export.h>
#include <Telvora/Base/Guarded.h>
#include <Telvora/Base/HostCall.h>
#include <Telvora/Classes/Domain/TrackerDomainConstant.h>
#include <Telvora/Classes/TrackerLedger.h>
#include <Telvora/Classes/TrackerRetryCache.h>

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <utility>

namespace telvora {

/// What a channel's batches have in common: the fields beside the event list, and the key of that
/// list. Always taken as one pair.
struct TrackerCommonData {
    Dictionary commonDatas;
    std::string dataListKey = "data-list";
};

/// One channel: where its batches go, how many events it collects before it sends at once, what it
/// adds to them, and the host's hooks.
///
/// Life: made by the host, registered with the manager once, and shared by both from then on.
///
/// Threads: setters, insert() and popRetryData() from any thread. The event list changes only in
/// barrier blocks of the manager's queue.
///
/// Failure: none. A hook that throws is caught where it is called. A limit of 0 or less is taken as
/// it is: every event then goes out at once.
class TELVORA_EXPORT TrackerConfig {
public:
    using DefaultIndex = telvora::DefaultIndex;
    using Hook = std::function<void()>;
    using URLHook = std::function<std::string()>;

    /// `apiDatas` are events, each a Dictionary of any depth, oldest first. `urlHook` is called for
    /// every request; nothing of it is kept. `useOstraReport` is only kept and readable: whether
    /// APM reports go to a provider is decided by there being one.
    TrackerConfig(std::string index, std::int64_t maxLimit, StringDictionary headers = {},
        Array&& apiDatas = {}, bool useOstraReport = false, URLHook urlHook = {});
    TrackerConfig(std::string index, std::int64_t maxLimit, StringDictionary headers,
        const Array& apiDatas, bool useOstraReport = false, URLHook urlHook = {});

    TrackerConfig(const TrackerConfig&) = delete;
    TrackerConfig& operator=(const TrackerConfig&) = delete;

    const std::string& index() const { return m_index; }
    std::int64_t maxLimit() const { return m_maxLimit; }
    const StringDictionary& headers() const { return m_headers; }
    bool useOstraReport() const { return m_useOstraReport; }
    const URLHook& urlHook() const { return m_urlHook; }

    /// Called by start() for a channel that is not yet running.
    void setStartHook(Hook hook) { m_startHook.set(keepHostClosure(std::move(hook))); }
    /// Called by stop() and when the application enters the background.
    void setStopHook(Hook hook) { m_stopHook.set(keepHostClosure(std::move(hook))); }
    /// Called when the application returns to the foreground.
    void setRestartHook(Hook hook) { m_restartHook.set(keepHostClosure(std::move(hook))); }

    /// Absent until set. Present but empty for an empty closure, which is skipped.
    std::shared_ptr<const Hook> startHook() const { return m_startHook.get(); }
    std::shared_ptr<const Hook> stopHook() const { return m_stopHook.get(); }
    std::shared_ptr<const Hook> restartHook() const { return m_restartHook.get(); }

    /// Never null.
    std::shared_ptr<const TrackerCommonData> commonData() const;
    /// Takes them over, or copies them, without recursion however deep they are.
    void setCommonData(TrackerCommonData&& commonData);
    void setCommonData(const TrackerCommonData& commonData);

    /// Puts an entry into the retry cache; returns before it is in.
    void insert(TrackerRetryEntry retry);
    /// The entry whose turn it is, or null; it is removed in a second step.
    TrackerRetryEntry popRetryData();

    const TrackerRetryCache& retryCache() const { return m_retryCache; }

    /// A copy of the pending events as they stand.
    Array apiDatas() const;

    LedgerSnapshot ledger() const;

private:
    // Intake and delivery: the only ones who change the event list.
    friend class Delivery;
    friend class TrackerManager;

    // A copy of the list, and how much of it no earlier copy held.
    struct Copied {
        AnyDepth<Array> events;
        std::uint32_t fresh = 0;
    };

    // The events that wait, and what a flush or a batch has of them.
    struct Pending {
        AnyDepth<Array> apiDatas;
        // How many events at the front of the list a copy has sent already.
        std::size_t copied = 0;
        // The list taken last, in its batch, while that is being sent.
        std::shared_ptr<const Array> leaving;
    };

    // In a barrier block of the manager's queue. Takes the event over, unless it throws. True when
    // the list has reached the limit.
    bool append(Dictionary& event);
    // In the same barrier block, as long as the list is left alone.
    const Dictionary& lastEvent() const;
    // In a barrier block. Moves the list into `place`, which is empty, and gives back how much of
    // it no earlier copy held. Until hasLeft() it still shows as pending, as it does while a copy
    // is sent.
    std::uint32_t takeAll(const std::shared_ptr<Array>& place);
    // In the same barrier block, when the request is out.
    void hasLeft();
    // In a synchronous block. Leaves the list as it is.
    Copied copyAll();
    // In a barrier block, after a copy was sent.
    void clear();

    TrackerRetryCache::Taken takeRetryData();

    const std::string m_index;
    const StringDictionary m_headers;
    const std::int64_t m_maxLimit;
    const bool m_useOstraReport;
    const URLHook m_urlHook;

    detail::Guarded<std::shared_ptr<const TrackerCommonData>> m_commonData;
    detail::Guarded<std::shared_ptr<const Hook>> m_startHook;
    detail::Guarded<std::shared_ptr<const Hook>> m_stopHook { keepHostClosure(Hook([] {})) };
    detail::Guarded<std::shared_ptr<const Hook>> m_restartHook { m_stopHook.get() };

    // The queue orders the changes; the lock is for readers that do not queue up.
    detail::Guarded<Pending> m_pending;

    ChannelLedger m_ledger;
    // After the ledger, which hears of its removals.
    TrackerRetryCache m_retryCache;
};

} // namespace telvora
