#include <Telvora/Classes/TrackerLedger.h>

namespace telvora {

namespace {

void add(std::atomic<std::int64_t>& count, std::int64_t amount)
{
    if (amount != 0)
        count.fetch_add(amount, std::memory_order_relaxed);
}

Dictionary droppedDictionary(const LedgerAccount::Dropped& dropped, bool ofEvents)
{
    Dictionary dictionary;
    if (ofEvents) {
        dictionary["unknownChannel"] = dropped.unknownChannel;
        dictionary["clearedAfterCopy"] = dropped.clearedAfterCopy;
    }
    dictionary["unencodable"] = dropped.unencodable;
    dictionary["answerNotObject"] = dropped.answerNotObject;
    dictionary["retriesExhausted"] = dropped.retriesExhausted;
    dictionary["removedUnseen"] = dropped.removedUnseen;
    if (dropped.internalError > 0)
        dictionary["internalError"] = dropped.internalError;
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

} // namespace

std::int64_t LedgerAccount::Dropped::total() const
{
    return unknownChannel + clearedAfterCopy + unencodable + answerNotObject + retriesExhausted
        + removedUnseen + internalError;
}

std::int64_t LedgerAccount::accountedFor() const
{
    return pending + inFlight + waiting + delivered + dropped.total();
}

Dictionary ledgerDictionary(const LedgerSnapshot& snapshot)
{
    Dictionary dictionary;
    dictionary["events"] = accountDictionary(snapshot.events, true);
    dictionary["batches"] = accountDictionary(snapshot.batches, false);
    if (snapshot.hostExceptions > 0)
        dictionary["hostExceptions"] = snapshot.hostExceptions;
    return dictionary;
}

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
    add(m_events.*countOf(reason), 1);
}

void ChannelLedger::droppedPending(std::int64_t events, DropReason reason)
{
    add(m_events.pending, -events);
    add(m_events.*countOf(reason), events);
}

void ChannelLedger::droppedInFlight(LedgerShare share, DropReason reason)
{
    move(&Counts::inFlight, countOf(reason), share);
}

void ChannelLedger::droppedWaiting(LedgerShare share, DropReason reason)
{
    move(&Counts::waiting, countOf(reason), share);
}

void ChannelLedger::hostThrew()
{
    add(m_hostExceptions, 1);
}

LedgerSnapshot ChannelLedger::snapshot() const
{
    return { m_events.account(), m_batches.account(),
        m_hostExceptions.load(std::memory_order_relaxed) };
}

ChannelLedger::Count ChannelLedger::Counts::*ChannelLedger::countOf(DropReason reason)
{
    switch (reason) {
    case DropReason::unknownChannel:
        return &Counts::unknownChannel;
    case DropReason::clearedAfterCopy:
        return &Counts::clearedAfterCopy;
    case DropReason::unencodable:
        return &Counts::unencodable;
    case DropReason::answerNotObject:
        return &Counts::answerNotObject;
    case DropReason::retriesExhausted:
        return &Counts::retriesExhausted;
    case DropReason::removedUnseen:
        return &Counts::removedUnseen;
    case DropReason::internalError:
        break;
    }
    return &Counts::internalError;
}

void ChannelLedger::move(Count Counts::*from, Count Counts::*to, LedgerShare share)
{
    add(m_events.*from, -std::int64_t(share.events));
    add(m_events.*to, share.events);
    add(m_batches.*from, -std::int64_t(share.batches));
    add(m_batches.*to, share.batches);
}

LedgerAccount ChannelLedger::Counts::account() const
{
    LedgerAccount account;
    account.accepted = accepted.load(std::memory_order_relaxed);
    account.pending = pending.load(std::memory_order_relaxed);
    account.inFlight = inFlight.load(std::memory_order_relaxed);
    account.waiting = waiting.load(std::memory_order_relaxed);
    account.delivered = delivered.load(std::memory_order_relaxed);
    account.dropped.unknownChannel = unknownChannel.load(std::memory_order_relaxed);
    account.dropped.clearedAfterCopy = clearedAfterCopy.load(std::memory_order_relaxed);
    account.dropped.unencodable = unencodable.load(std::memory_order_relaxed);
    account.dropped.answerNotObject = answerNotObject.load(std::memory_order_relaxed);
    account.dropped.retriesExhausted = retriesExhausted.load(std::memory_order_relaxed);
    account.dropped.removedUnseen = removedUnseen.load(std::memory_order_relaxed);
    account.dropped.internalError = internalError.load(std::memory_order_relaxed);
    return account;
}

} // namespace telvora
