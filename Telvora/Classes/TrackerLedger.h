#pragma once

#include <Telvora/Base/Dictionary.h>
#include <Telvora/Base/Export.h>
#include <Telvora/Base/Guarded.h>
#include <Telvora/Base/Work.h>

#include <array>
#include <atomic>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

namespace telvora {

/// Why an event or a batch will never be delivered. A new reason is one line here, one field of
/// LedgerAccount::Dropped and one line of the table in TrackerLedger.cpp, at the same place in
/// each.
enum class DropReason {
    /// No channel of that index is registered.
    unknownChannel,
    /// The event arrived after a flush had copied the list and before the flush cleared it.
    clearedAfterCopy,
    /// The batch contains NaN or an infinity, which JSON cannot express.
    unencodable,
    /// The collector answered with JSON that is no object.
    answerNotObject,
    /// The last retry failed, or the retry entry has no data to send.
    retriesExhausted,
    /// Two concurrent pops of the retry cache returned the same entry and removed this one.
    removedUnseen,
    /// Something threw between the intake and the answer: there was no memory, or a service of the
    /// platform threw.
    internalError,
    /// The host has switched the library off with setEnabled().
    disabled,
    /// The event was handed over after shutdown().
    afterShutdown,
    /// A number in the event is NaN or infinite, and the channel has chosen NonFiniteCost::event.
    notFinite,
    /// More would be kept than Limits allow.
    overLimit,
};

/// "unknownChannel", "clearedAfterCopy" and so on.
TELVORA_EXPORT std::string_view rawValue(DropReason reason);

/// Where all the events, or all the batches, of a channel are now. The sum of the other fields is
/// `accepted`, except while another thread is between two steps.
struct TELVORA_EXPORT LedgerAccount {
    /// How many were dropped, by reason: the fields are named like the cases of DropReason.
    struct TELVORA_EXPORT Dropped {
        /// Dropped as DropReason::unknownChannel.
        std::int64_t unknownChannel = 0;
        /// Dropped as DropReason::clearedAfterCopy.
        std::int64_t clearedAfterCopy = 0;
        /// Dropped as DropReason::unencodable.
        std::int64_t unencodable = 0;
        /// Dropped as DropReason::answerNotObject.
        std::int64_t answerNotObject = 0;
        /// Dropped as DropReason::retriesExhausted.
        std::int64_t retriesExhausted = 0;
        /// Dropped as DropReason::removedUnseen.
        std::int64_t removedUnseen = 0;
        /// Dropped as DropReason::internalError.
        std::int64_t internalError = 0;
        /// Dropped as DropReason::disabled.
        std::int64_t disabled = 0;
        /// Dropped as DropReason::afterShutdown.
        std::int64_t afterShutdown = 0;
        /// Dropped as DropReason::notFinite.
        std::int64_t notFinite = 0;
        /// Dropped as DropReason::overLimit.
        std::int64_t overLimit = 0;

        /// The sum of all reasons.
        std::int64_t total() const;
        /// Member by member.
        bool operator==(const Dropped&) const = default;
    };

    /// All that the channel was given: events by the host, batches by the library, and both by
    /// TrackerConfig::insert().
    std::int64_t accepted = 0;
    /// In the channel's list. Always 0 for batches.
    std::int64_t pending = 0;
    /// In a request that has not been answered yet.
    std::int64_t inFlight = 0;
    /// In the retry cache.
    std::int64_t waiting = 0;
    /// In a request that the collector accepted.
    std::int64_t delivered = 0;
    /// Given up, by reason.
    Dropped dropped;

    /// pending + inFlight + waiting + delivered + dropped
    std::int64_t accountedFor() const;
    /// Member by member.
    bool operator==(const LedgerAccount&) const = default;
};

/// An upload that failed.
struct TELVORA_EXPORT UploadFailure {
    /// What becomes of the batch.
    enum class Outcome {
        /// It is in the retry cache.
        waiting,
        /// That was its last try.
        givenUp,
        /// It is dropped, whatever tries are left: JSON cannot express it, the answer was no
        /// object,
        /// limits or the user's consent do not allow to keep it, or there was no memory.
        dropped,
    };

    /// Calendar time of the failure, in seconds.
    double secondsSince1970 = 0;
    /// The address as the URL hook returned it, but with "…" for a user and password in it; empty
    /// if it returned none.
    std::string url;
    /// The HTTP status of the answer; 0 without one.
    int status = 0;
    /// Why it failed, for a person.
    std::string reason;
    /// Which try of the batch it was, from 1, and how many there are: RetryPolicy::endless if there
    /// is no end.
    std::int64_t attempt = 0;
    /// How many tries a batch has at most, the first one among them.
    std::int64_t attempts = 0;
    /// What becomes of the batch.
    Outcome outcome = Outcome::waiting;

    /// Member by member.
    bool operator==(const UploadFailure&) const = default;
};

/// "waiting", "givenUp" or "dropped".
TELVORA_EXPORT std::string_view rawValue(UploadFailure::Outcome outcome);

/// A channel's accounts: one counts events, one counts batches.
/// Deliberate: the documented gaps of flush and retry can send an event twice. The second copy is
/// not counted, so that `accepted` is what the host handed over.
struct LedgerSnapshot {
    /// Where the events are.
    LedgerAccount events;
    /// Where the batches are.
    LedgerAccount batches;
    /// How often a closure of the host threw while it was called for this channel: a hook, the URL
    /// hook, or the trigger callback for one of its events.
    std::int64_t hostExceptions = 0;
    /// The last upload that failed; a later success does not remove it.
    std::optional<UploadFailure> lastFailure {};

    /// Member by member.
    bool operator==(const LedgerSnapshot&) const = default;
};

/// Calls `use` with each reason and its count, in the order of DropReason.
TELVORA_EXPORT void forEachReason(const LedgerAccount::Dropped& dropped,
    FunctionRef<void(DropReason reason, std::int64_t count)> use);

/// {"events": {...}, "batches": {...}}, each with the members of LedgerAccount. Members that are
/// always 0 for batches are left out there. "hostExceptions", and the reasons from "internalError"
/// on, are left out while they are 0. "lastFailure" has the members of UploadFailure without
/// "attempts", or is null.
TELVORA_EXPORT Dictionary ledgerDictionary(const LedgerSnapshot& snapshot);

namespace detail {

/// What one request, or one entry of the retry cache, stands for in the channel's accounts.
struct LedgerShare {
    std::uint32_t events = 0;
    std::uint32_t batches = 0;

    bool isEmpty() const { return events == 0 && batches == 0; }
};

/// Keeps one channel's accounts. Each function records one thing that happened.
///
/// Threads: any. A snapshot may show half of what another thread records at that moment.
class ChannelLedger {
public:
    /// Events entered the list.
    void appended(std::int64_t events);
    /// A request was made of the list. `share` leaves out events that an earlier copy contained.
    void posted(LedgerShare share);
    void delivered(LedgerShare share);
    void failedIntoRetry(LedgerShare share);
    /// The host put a batch into the retry cache.
    void insertedByHost(LedgerShare share);
    /// The host took an entry from the retry cache and owns it from now on.
    void takenByHost(LedgerShare share);
    /// An entry of the retry cache is sent again.
    void retried(LedgerShare share);

    /// One event was dropped before it entered a list.
    void droppedAtIntake(DropReason reason);
    void droppedPending(std::int64_t events, DropReason reason);
    void droppedInFlight(LedgerShare share, DropReason reason);
    void droppedWaiting(LedgerShare share, DropReason reason);

    /// A closure of the host threw.
    void hostThrew();

    /// An upload failed. Without memory the one before stays.
    void uploadFailed(UploadFailure&& failure) noexcept;

    LedgerSnapshot snapshot() const;
    /// How many events are neither delivered nor dropped.
    std::int64_t left() const noexcept;

private:
    using Count = std::atomic<std::int64_t>;
    static constexpr auto reasonCount = sizeof(LedgerAccount::Dropped) / sizeof(std::int64_t);

    struct Counts {
        Count accepted { 0 };
        Count pending { 0 };
        Count inFlight { 0 };
        Count waiting { 0 };
        Count delivered { 0 };
        // By DropReason.
        std::array<Count, reasonCount> dropped {};

        Count& droppedFor(DropReason reason);
        LedgerAccount account() const;
    };

    void move(Count Counts::*from, Count Counts::*to, LedgerShare share);
    void drop(Count Counts::*from, LedgerShare share, DropReason reason);

    Counts m_events;
    Counts m_batches;
    Count m_hostExceptions { 0 };
    Guarded<std::shared_ptr<const UploadFailure>> m_lastFailure;
};

} // namespace detail

} // namespace telvora
