#pragma once

#include <Telvora/Base/Export.h>
#include <Telvora/Base/Mutex.h>
#include <Telvora/Classes/TrackerLedger.h>
#include <Telvora/Classes/Utils/Batch.h>
#include <Telvora/Classes/Utils/PriorityQueue.h>
#include <Telvora/Classes/Utils/ReadWriteLock.h>

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <vector>

namespace telvora {

/// A batch whose upload failed, waiting for its next try. Comparison never looks at `data`.
class TELVORA_EXPORT TrackerRetryData {
public:
    static constexpr std::int64_t defaultMaxRetryCount = 3;

    /// Stamped with the current time.
    TrackerRetryData(Batch data, std::int64_t retryCount);

    /// The batch exactly as it was posted. Null is an entry without data, which is never posted:
    /// it is given up when its turn comes. An empty dictionary is data.
    Batch data;
    /// How many failed attempts lie behind it; 1 after the first.
    std::int64_t retryCount;
    /// Seconds since 1970, of the failure.
    double timestamp;
    std::int64_t maxRetryCount = defaultMaxRetryCount;

    bool operator==(const TrackerRetryData& other) const
    {
        return retryCount == other.retryCount && timestamp == other.timestamp;
    }

    /// Fewer failures are less; among equals the younger is less.
    /// Deliberate: "younger or as old", so two entries equal in both are each less than the other,
    /// and the one that comes in later rises above.
    bool operator<(const TrackerRetryData& other) const
    {
        return retryCount != other.retryCount ? retryCount < other.retryCount
                                              : other.timestamp <= timestamp;
    }
    bool operator>(const TrackerRetryData& other) const { return other < *this; }
    bool operator<=(const TrackerRetryData& other) const { return !(other < *this); }
    bool operator>=(const TrackerRetryData& other) const { return !(*this < other); }

    /// What it carries of its channel's account. Whoever takes it answers for it.
    void giveShare(LedgerShare share);
    /// Empty when somebody was faster.
    LedgerShare takeShare();

private:
    std::atomic<std::uint64_t> m_share { 0 };
};

using TrackerRetryEntry = std::shared_ptr<TrackerRetryData>;

/// What the library asks of a store of failed batches.
class TELVORA_EXPORT TrackerRetryStrategy {
public:
    virtual ~TrackerRetryStrategy() = default;

    virtual std::size_t size() const = 0;
    /// The entry whose turn it is, or null.
    virtual TrackerRetryEntry pop() = 0;
    virtual void insert(TrackerRetryEntry data) = 0;
};

/// A channel's failed batches, in memory only: most failures first, oldest first among equals. No
/// limit, no eviction; an entry leaves by being popped.
///
/// Threads: any. insert() returns before the entry is in; a pop() after it, on the same thread,
/// sees it. size() never waits and may be behind.
///
/// Deliberate: pop() reads the first entry and queues its removal as a second step, also when it
/// found nothing. Two pops at one moment can return the same entry and remove another unseen; the
/// ledger tells when that happened.
class TELVORA_EXPORT TrackerRetryCache final : public TrackerRetryStrategy {
public:
    /// Told the share of each entry that was lost: removed without ever being returned, or not kept
    /// for want of memory. Must not throw.
    using Lost = std::function<void(LedgerShare, DropReason)>;

    explicit TrackerRetryCache(Lost lost = {});
    ~TrackerRetryCache() override;

    std::size_t size() const override { return m_state->count.load(std::memory_order_relaxed); }
    TrackerRetryEntry pop() override { return take().entry; }
    void insert(TrackerRetryEntry data) override;

    /// An entry and what of the account comes with it: nothing, when another pop returned the same
    /// entry first.
    struct Taken {
        TrackerRetryEntry entry;
        LedgerShare share;
    };

    /// pop(), for whoever keeps account. Where its removal cannot be queued for want of memory, the
    /// entry stays and nothing is returned.
    Taken take();

    /// Every entry in the order in which they would come out, as things stand: writes that are
    /// still queued are not in it.
    std::vector<TrackerRetryEntry> entries() const;

private:
    struct Before {
        bool operator()(const TrackerRetryEntry& lhs, const TrackerRetryEntry& rhs) const
        {
            return *lhs < *rhs;
        }
    };

    // Changed in writes of m_lock only, and then with `changing` held as well, for the sake of
    // entries(), which does not queue up. Reads of m_lock need no mutex.
    struct State {
        PriorityQueue<TrackerRetryEntry, Before> priorityQueue { Before() };
        std::atomic<std::size_t> count { 0 };
        Lost lost;
        mutable Mutex changing;

        void add(const TrackerRetryEntry& entry);
        void removeFirst();
        void lose(TrackerRetryData& entry, DropReason reason) const;
    };

    std::unique_ptr<State> m_state;
    // After the state: its destructor waits for the writes that still use it.
    ReadWriteLock m_lock;
};

} // namespace telvora
