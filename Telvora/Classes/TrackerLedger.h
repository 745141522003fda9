#pragma once

#include <Telvora/Base/Dictionary.h>
#include <Telvora/Base/Export.h>

#include <atomic>
#include <cstdint>

namespace telvora {

/// Why something will never be delivered.
enum class DropReason {
    /// No channel of that index is registered.
    unknownChannel,
    /// It came in between the copy that a flush sends and the clearing of the list.
    clearedAfterCopy,
    /// The batch holds a number that JSON cannot carry.
    unencodable,
    /// The collector answered with JSON that is no object.
    answerNotObject,
    /// The last retry failed, or there was nothing to send.
    retriesExhausted,
    /// A concurrent pop of the retry cache took another entry away than the one it returned.
    removedUnseen,
    /// Something threw between the intake and the answer: there was no memory, or a service of the
    /// platform threw.
    internalError,
};

/// What became of everything a channel was given. When nothing is under way, `accepted` is the sum
/// of all the rest.
struct TELVORA_EXPORT LedgerAccount {
    struct TELVORA_EXPORT Dropped {
        std::int64_t unknownChannel = 0;
        std::int64_t clearedAfterCopy = 0;
        std::int64_t unencodable = 0;
        std::int64_t answerNotObject = 0;
        std::int64_t retriesExhausted = 0;
        std::int64_t removedUnseen = 0;
        std::int64_t internalError = 0;

        std::int64_t total() const;
        bool operator==(const Dropped&) const = default;
    };

    std::int64_t accepted = 0;
    /// In the channel's list.
    std::int64_t pending = 0;
    /// In a request that has not been answered.
    std::int64_t inFlight = 0;
    /// In the retry cache.
    std::int64_t waiting = 0;
    std::int64_t delivered = 0;
    Dropped dropped;

    /// pending + inFlight + waiting + delivered + dropped.
    std::int64_t accountedFor() const;
    bool operator==(const LedgerAccount&) const = default;
};

/// A channel's account, in events and in batches. A batch is never pending, and never of an unknown
/// channel.
///
/// Deliberate: the account follows the first copy of an event. The documented gaps of flush and
/// retry can send an event twice; the second copy is not counted, so that `accepted` is what the
/// host handed over.
struct LedgerSnapshot {
    LedgerAccount events;
    LedgerAccount batches;
    /// How often a closure of the host's threw while it was called for this channel: a hook, the
    /// URL hook, or the trigger callback for one of its events.
    std::int64_t hostExceptions = 0;

    bool operator==(const LedgerSnapshot&) const = default;
};

/// {"events": {...}, "batches": {...}}, each with the members of LedgerAccount; those that a batch
/// cannot have are left out. "hostExceptions" and "internalError" are there once there was one.
TELVORA_EXPORT Dictionary ledgerDictionary(const LedgerSnapshot& snapshot);

/// What one batch, or one entry of the retry cache, carries of a channel's account.
struct LedgerShare {
    std::uint32_t events = 0;
    std::uint32_t batches = 0;

    bool isEmpty() const { return events == 0 && batches == 0; }
};

/// One channel's account while it is being kept. Each member says what happened; a snapshot taken
/// while things happen may be between two of them.
///
/// Threads: any. Costs one or two relaxed additions a call.
class ChannelLedger {
public:
    void appended(std::int64_t events);
    /// `events` of the list, which no earlier copy of it held, went into a request.
    void posted(LedgerShare share);
    void delivered(LedgerShare share);
    void failedIntoRetry(LedgerShare share);
    /// A batch that no request of ours failed with was put into the retry cache.
    void insertedByHost(LedgerShare share);
    /// An entry of the retry cache was handed to the host, who answers for it from now on.
    void takenByHost(LedgerShare share);
    void retried(LedgerShare share);

    /// One event that never entered a list.
    void droppedAtIntake(DropReason reason);
    void droppedPending(std::int64_t events, DropReason reason);
    void droppedInFlight(LedgerShare share, DropReason reason);
    void droppedWaiting(LedgerShare share, DropReason reason);

    void hostThrew();

    LedgerSnapshot snapshot() const;

private:
    using Count = std::atomic<std::int64_t>;

    struct Counts {
        Count accepted { 0 };
        Count pending { 0 };
        Count inFlight { 0 };
        Count waiting { 0 };
        Count delivered { 0 };
        Count unknownChannel { 0 };
        Count clearedAfterCopy { 0 };
        Count unencodable { 0 };
        Count answerNotObject { 0 };
        Count retriesExhausted { 0 };
        Count removedUnseen { 0 };
        Count internalError { 0 };

        LedgerAccount account() const;
    };

    static Count Counts::*countOf(DropReason reason);
    void move(Count Counts::*from, Count Counts::*to, LedgerShare share);

    Counts m_events;
    Counts m_batches;
    Count m_hostExceptions { 0 };
};

} // namespace telvora
