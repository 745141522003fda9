#pragma once

#include <Telvora/Base/Export.h>
#include <Telvora/Base/ForkedChild.h>
#include <Telvora/Base/Mutex.h>
#include <Telvora/Base/Work.h>
#include <Telvora/Classes/Limits.h>
#include <Telvora/Classes/TrackerLedger.h>
#include <Telvora/Classes/Utils/Batch.h>
#include <Telvora/Classes/Utils/PriorityQueue.h>
#include <Telvora/Classes/Utils/ReadWriteLock.h>

#include <atomic>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace telvora {

/// A batch whose upload failed, waiting for its next try. Comparisons ignore `data`.
///
/// Life: made for each failure, and not changed while it is in a cache.
/// Threads: a value without a lock; giveShare() and takeShare() from any thread.
class TELVORA_EXPORT TrackerRetryData {
public:
    /// How many retries a batch of the library has.
    static constexpr std::int64_t defaultMaxRetryCount = 3;

    /// `timestamp` becomes the current time.
    TrackerRetryData(Batch data, std::int64_t retryCount);

    /// The batch as it was posted. An entry whose data is null is never posted: it is dropped when
    /// it is popped. An empty dictionary is data.
    Batch data;
    /// How many times the upload has failed; 1 after the first failure.
    std::int64_t retryCount;
    /// Time of the last failure in seconds since 1970, with fraction.
    double timestamp;
    /// How many retries are allowed: after a failed upload with this retryCount the batch is
    /// dropped.
    std::int64_t maxRetryCount = defaultMaxRetryCount;

    /// When a channel with a RetryPolicy tries it again; the library sets it.
    std::chrono::steady_clock::time_point due {};
    /// The "x-batch-id" of its tries; empty until it is sent with one.
    std::string batchId {};
    /// When it failed for the first time: its number among all events and batches that arrive; the
    /// library sets it. 0 until the entry was in a cache.
    std::uint64_t arrival = 0;

    /// Whether count and time are the same.
    bool operator==(const TrackerRetryData& other) const
    {
        return retryCount == other.retryCount && timestamp == other.timestamp;
    }

    /// The entry with fewer failures is less; among equal counts the later one is less.
    /// Deliberate: "later or at the same time". Two entries equal in both are each less than the
    /// other, and the one inserted later rises above the earlier one.
    bool operator<(const TrackerRetryData& other) const
    {
        return retryCount != other.retryCount ? retryCount < other.retryCount
                                              : other.timestamp <= timestamp;
    }
    /// The other is less.
    bool operator>(const TrackerRetryData& other) const { return other < *this; }
    /// The other is not less, by the order above.
    bool operator<=(const TrackerRetryData& other) const { return !(other < *this); }
    /// This one is not less.
    bool operator>=(const TrackerRetryData& other) const { return !(*this < other); }

    /// Stores what the entry stands for in its channel's accounts.
    void giveShare(detail::LedgerShare share);
    /// Removes and returns it. The caller records it on the ledger. Empty when it was taken before.
    detail::LedgerShare takeShare();
    /// What it counts for limits. Throws std::bad_alloc for a dictionary of the host's, whose text
    /// is made for this once.
    detail::Held holds() const;

private:
    friend class TrackerRetryCache;

    detail::LedgerShare share() const;

    std::atomic<std::uint64_t> m_share { 0 };
    // What it counts in its cache; nothing until somebody asks.
    detail::Held m_held;
};

/// An entry as cache and host share it; may be null.
using TrackerRetryEntry = std::shared_ptr<TrackerRetryData>;

/// A store of failed batches.
class TELVORA_EXPORT TrackerRetryStrategy {
public:
    virtual ~TrackerRetryStrategy() = default;

    /// How many entries are in the store.
    virtual std::size_t size() const = 0;
    /// Removes and returns the entry to send next; null when the store is empty.
    virtual TrackerRetryEntry pop() = 0;
    /// Adds an entry; null is ignored.
    virtual void insert(TrackerRetryEntry data) = 0;
};

/// A channel's failed batches, in memory only: most failures first, oldest first among equals.
/// It has no limit of its own; an entry stays until it is popped, or taken away because a limit of
/// the channel or the user's consent wants it.
///
/// Threads: any. insert() returns before the entry is stored; a later pop() on the same thread sees
/// it. size() never waits and may be out of date.
///
/// Deliberate: pop() reads the first entry and removes it in a second step, also when it found
/// none. Two concurrent pops can return the same entry and remove another one; the ledger
/// counts that one as `removedUnseen`.
class TELVORA_EXPORT TrackerRetryCache final : public TrackerRetryStrategy {
public:
    /// Called with the share of each entry that is lost: removed without ever being returned, or
    /// not stored because there was no memory. Must not throw.
    using Lost = std::function<void(detail::LedgerShare, DropReason)>;

    /// With an empty `lost`, lost entries are not reported.
    explicit TrackerRetryCache(Lost lost = {});
    /// Waits for the writes that are still queued.
    ~TrackerRetryCache() override;

    std::size_t size() const override
    {
        return detail::isForkedChild() ? 0 : m_state->size.load(std::memory_order_relaxed);
    }
    TrackerRetryEntry pop() override { return take().entry; }
    void insert(TrackerRetryEntry data) override;

    /// The result of take().
    struct Taken {
        /// Null when the cache was empty.
        TrackerRetryEntry entry;
        /// Empty when another pop has returned the same entry before.
        detail::LedgerShare share;
    };

    /// The same as pop(), with the share for the ledger. Where there is no memory for the second
    /// step, the entry stays and null is returned.
    Taken take();

    /// Removes `entry` if it is there and due at `due`, and returns it; otherwise null.
    Taken takeDue(const TrackerRetryEntry& entry, std::chrono::steady_clock::time_point due);

    /// Calls `change` with each entry, in one write. It may change all but what they are ordered
    /// by.
    void forEach(FunctionRef<void(const TrackerRetryEntry&)> change);

    /// What the entries hold. Sees every write that was submitted before. From the first call on
    /// the cache counts; until then that costs nothing. Throws std::bad_alloc.
    detail::Held held();

    /// An entry that waits.
    struct Waiting {
        /// Never null.
        TrackerRetryEntry entry;
        /// What takeDue() wants to know.
        std::chrono::steady_clock::time_point due;
        /// Its number in the order of arrival.
        std::uint64_t arrival = 0;
    };
    /// The first entry, or the last, in the order of arrival, among those whose holdings `isWanted`
    /// returns true for; absent if there is none. It stays in the cache. Sees every write that was
    /// submitted before.
    std::optional<Waiting> waiting(
        FunctionRef<bool(const detail::Held&)> isWanted, bool isLast) const;

    /// Removes all entries and returns them in the order in which pop() would, without those that a
    /// pop has returned and is about to remove. Where there is no memory, all stay and none is
    /// returned.
    std::vector<Taken> takeAll();

    /// All entries in the order in which pop() would return them, without the effect of writes that
    /// are still queued.
    std::vector<TrackerRetryEntry> entries() const;

private:
    struct Before {
        bool operator()(const TrackerRetryEntry& lhs, const TrackerRetryEntry& rhs) const
        {
            return *lhs < *rhs;
        }
    };

    // Changed only in writes of m_lock, with `mutex` held as well. entries() does not use the queue
    // of m_lock and takes `mutex` instead; reads of m_lock do not need it.
    struct State {
        PriorityQueue<TrackerRetryEntry, Before> priorityQueue { Before() };
        std::atomic<std::size_t> size { 0 };
        // Whether the next two are kept.
        bool counts = false;
        detail::Held held;
        // In the order of arrival. Only an entry that was inserted more than once is there so
        // often.
        std::multimap<std::uint64_t, TrackerRetryEntry> byArrival;
        Lost lost;
        mutable detail::Mutex mutex;

        void add(const TrackerRetryEntry& entry);
        void count(const TrackerRetryEntry& entry);
        void noteRemoved(const TrackerRetryEntry& entry);
        void removeFirst();
        bool remove(const TrackerRetryEntry& entry, std::chrono::steady_clock::time_point due);
        void takeAllTo(std::vector<Taken>& taken);
        void lose(TrackerRetryData& entry, DropReason reason) const;
    };

    std::unique_ptr<State> m_state;
    // Declared after the state: its destructor waits for the writes, which use the state.
    ReadWriteLock m_lock;
};

} // namespace telvora
