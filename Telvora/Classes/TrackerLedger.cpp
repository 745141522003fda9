#include <Telvora/Classes/TrackerLedger.h>

#include <iterator>
#include <new>
#include <utility>

namespace telvora {

namespace {

using Dropped = LedgerAccount::Dropped;

// When the dictionary of an account shows a reason.
enum class Shown {
    always,
    // A batch is never dropped for it.
    forEvents,
    onceCounted,
};

struct ReasonEntry {
    DropReason reason;
    std::int64_t Dropped::*count;
    std::string_view key;
    Shown shown;
};

// One line a reason, in the order of DropReason.
constexpr ReasonEntry reasons[] = {
    { DropReason::unknownChannel, &Dropped::unknownChannel, "unknownChannel", Shown::forEvents },
    { DropReason::clearedAfterCopy, &Dropped::clearedAfterCopy, "clearedAfterCopy",
        Shown::forEvents },
    { DropReason::unencodable, &Dropped::unencodable, "unencodable", Shown::always },
    { DropReason::answerNotObject, &Dropped::answerNotObject, "answerNotObject", Shown::always },
    { DropReason::retriesExhausted, &Dropped::retriesExhausted, "retriesExhausted", Shown::always },
    { DropReason::removedUnseen, &Dropped::removedUnseen, "removedUnseen", Shown::always },
    { DropReason::internalError, &Dropped::internalError, "internalError", Shown::onceCounted },
    { DropReason::disabled, &Dropped::disabled, "disabled", Shown::onceCounted },
    { DropReason::afterShutdown, &Dropped::afterShutdown, "afterShutdown", Shown::onceCounted },
    { DropReason::notFinite, &Dropped::notFinite, "notFinite", Shown::onceCounted },
    { DropReason::overLimit, &Dropped::overLimit, "overLimit", Shown::onceCounted },
};

constexpr bool areInOrder()
{
    for (std::size_t place = 0; place < std::size(reasons); ++place) {
        if (static_cast<std::size_t>(reasons[place].reason) != place)
            return false;
    }
    return true;
}
static_assert(areInOrder(), "the place of a reason in the table is its number");

void add(std::atomic<std::int64_t>& count, std::int64_t amount)
{
    if (amount != 0)
        count.fetch_add(amount, std::memory_order_relaxed);
}

bool isShown(Shown shown, std::int64_t count, bool ofEvents)
{
    switch (shown) {
    case Shown::always:
        break;
    case Shown::forEvents:
        return ofEvents;
    case Shown::onceCounted:
        return count > 0;
    }
    return true;
}

Dictionary droppedDictionary(const Dropped& dropped, bool ofEvents)
{
    Dictionary dictionary;
    for (const ReasonEntry& entry : reasons) {
        const std::int64_t count = dropped.*entry.count;
        if (isShown(entry.shown, count, ofEvents))
            dictionary[entry.key] = count;
    }
    return dictionary;
}

Dictionary accountDictionary(const LedgerAccount& account, bool ofEvents)
{
    Dictionary dictionary;
    dictionary["accepted"] = account.accepted;
    if (ofEvents)
        dictionary["pending"] = account.pending;
    dictionary["inFlight"] = account.inFlight;
    dictionary["waiting"] = account.waiting;
    dictionary["delivered"] = account.delivered;
    dictionary["dropped"] = droppedDictionary(account.dropped, ofEvents);
    return dictionary;
}

Value failureValue(const std::optional<UploadFailure>& failure)
{
    if (!failure)
        return nullptr;
    return Dictionary { { "secondsSince1970", failure->secondsSince1970 }, { "url", failure->url },
        { "status", failure->status }, { "reason", failure->reason },
        { "attempt", failure->attempt }, { "outcome", rawValue(failure->outcome) } };
}

} // namespace

std::string_view rawValue(DropReason reason)
{
    return reasons[static_cast<std::size_t>(reason)].key;
}

std::string_view rawValue(UploadFailure::Outcome outcome)
{
    switch (outcome) {
    case UploadFailure::Outcome::waiting:
        return "waiting";
    case UploadFailure::Outcome::givenUp:
        return "givenUp";
    case UploadFailure::Outcome::dropped:
        return "dropped";
    }
    return {};
}

std::int64_t LedgerAccount::Dropped::total() const
{
    std::int64_t total = 0;
    for (const ReasonEntry& entry : reasons)
        total += this->*entry.count;
    return total;
}

std::int64_t LedgerAccount::accountedFor() const
{
    return pending + inFlight + waiting + delivered + dropped.total();
}

void forEachReason(const LedgerAccount::Dropped& dropped,
    FunctionRef<void(DropReason reason, std::int64_t count)> use)
{
    for (const ReasonEntry& entry : reasons)
        use(entry.reason, dropped.*entry.count);
}

Dictionary ledgerDictionary(const LedgerSnapshot& snapshot)
{
    Dictionary dictionary;
    dictionary["events"] = accountDictionary(snapshot.events, true);
    dictionary["batches"] = accountDictionary(snapshot.batches, false);
    if (snapshot.hostExceptions > 0)
        dictionary["hostExceptions"] = snapshot.hostExceptions;
    dictionary["lastFailure"] = failureValue(snapshot.lastFailure);
    return dictionary;
}

namespace detail {

void ChannelLedger::appended(std::int64_t events)
{
    add(m_events.accepted, events);
    add(m_events.pending, events);
}

void ChannelLedger::posted(LedgerShare share)
{
    add(m_events.pending, -std::int64_t(share.events));
    add(m_events.inFlight, share.events);
    add(m_batches.accepted, share.batches);
    add(m_batches.inFlight, share.batches);
}

void ChannelLedger::delivered(LedgerShare share)
{
    move(&Counts::inFlight, &Counts::delivered, share);
}

void ChannelLedger::failedIntoRetry(LedgerShare share)
{
    move(&Counts::inFlight, &Counts::waiting, share);
}

void ChannelLedger::insertedByHost(LedgerShare share)
{
    add(m_events.accepted, share.events);
    add(m_events.waiting, share.events);
    add(m_batches.accepted, share.batches);
    add(m_batches.waiting, share.batches);
}

void ChannelLedger::takenByHost(LedgerShare share)
{
    add(m_events.accepted, -std::int64_t(share.events));
    add(m_events.waiting, -std::int64_t(share.events));
    add(m_batches.accepted, -std::int64_t(share.batches));
    add(m_batches.waiting, -std::int64_t(share.batches));
}

void ChannelLedger::retried(LedgerShare share)
{
    move(&Counts::waiting, &Counts::inFlight, share);
}

void ChannelLedger::droppedAtIntake(DropReason reason)
{
    add(m_events.accepted, 1);
    add(m_events.droppedFor(reason), 1);
}

void ChannelLedger::droppedPending(std::int64_t events, DropReason reason)
{
    add(m_events.pending, -events);
    add(m_events.droppedFor(reason), events);
}

void ChannelLedger::droppedInFlight(LedgerShare share, DropReason reason)
{
    drop(&Counts::inFlight, share, reason);
}

void ChannelLedger::droppedWaiting(LedgerShare share, DropReason reason)
{
    drop(&Counts::waiting, share, reason);
}

void ChannelLedger::hostThrew()
{
    add(m_hostExceptions, 1);
}

void ChannelLedger::uploadFailed(UploadFailure&& failure) noexcept
try {
    m_lastFailure.set(std::make_shared<const UploadFailure>(std::move(failure)));
} catch (const std::bad_alloc&) {
    // The one before stays.
}

std::int64_t ChannelLedger::left() const noexcept
{
    return m_events.pending + m_events.inFlight + m_events.waiting;
}

LedgerSnapshot ChannelLedger::snapshot() const
{
    LedgerSnapshot snapshot { m_events.account(), m_batches.account(),
        m_hostExceptions.load(std::memory_order_relaxed) };
    if (const auto failure = m_lastFailure.get())
        snapshot.lastFailure = *failure;
    return snapshot;
}

void ChannelLedger::move(Count Counts::*from, Count Counts::*to, LedgerShare share)
{
    add(m_events.*from, -std::int64_t(share.events));
    add(m_events.*to, share.events);
    add(m_batches.*from, -std::int64_t(share.batches));
    add(m_batches.*to, share.batches);
}

void ChannelLedger::drop(Count Counts::*from, LedgerShare share, DropReason reason)
{
    add(m_events.*from, -std::int64_t(share.events));
    add(m_events.droppedFor(reason), share.events);
    add(m_batches.*from, -std::int64_t(share.batches));
    add(m_batches.droppedFor(reason), share.batches);
}

ChannelLedger::Count& ChannelLedger::Counts::droppedFor(DropReason reason)
{
    static_assert(std::size(reasons) == reasonCount, "one line a reason");
    return dropped[static_cast<std::size_t>(reason)];
}

LedgerAccount ChannelLedger::Counts::account() const
{
    LedgerAccount account;
    account.accepted = accepted.load(std::memory_order_relaxed);
    account.pending = pending.load(std::memory_order_relaxed);
    account.inFlight = inFlight.load(std::memory_order_relaxed);
    account.waiting = waiting.load(std::memory_order_relaxed);
    account.delivered = delivered.load(std::memory_order_relaxed);
    for (std::size_t place = 0; place < reasonCount; ++place)
        account.dropped.*reasons[place].count = dropped[place].load(std::memory_order_relaxed);
    return account;
}

} // namespace detail

} // namespace telvora
