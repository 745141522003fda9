#include <Telvora/Platform/Linux/QueueCore.h>

#include <Telvora/Platform/Linux/ForkedChild.h>
#include <Telvora/Platform/Linux/Futex.h>
#include <Telvora/Platform/Linux/WorkerPool.h>

#include <exception>
#include <utility>

namespace telvora {

namespace {

using Word = std::uint64_t;

// The word: readers in the upper 16 bits, the newest entry's address below, flags in the bits that
// the address leaves free.
constexpr Word draining = 1;
/// The ticket, or the urgent one, is with the pool.
constexpr Word ticketOut = 2;
constexpr Word urgentTicketOut = 4;
/// m_parked is not empty.
constexpr Word parked = 8;
/// A thread waits for an entry in the list or among the parked.
constexpr Word waiterInside = 16;
constexpr Word retired = 32;
constexpr Word flags = entryAlignment - 1;

constexpr int readerShift = 48;
constexpr Word oneReader = Word(1) << readerShift;
constexpr Word addresses = (oneReader - 1) & ~flags;
/// Further plain blocks wait as barriers do until all of these have left.
constexpr Word mostReaders = 0x7fff;

/// Barriers that a worker runs before it looks after other queues.
constexpr unsigned barriersInARow = 256;

/// A worker that finds fewer entries than that has caught up with those who submit. It lets more
/// of them gather before it comes back: taking one at a time would have it and them fight over
/// the word with every entry.
constexpr unsigned shortList = 64;

Word readersIn(Word word)
{
    return word >> readerShift;
}
QueueEntry* newestIn(Word word)
{
    // The word holds the address beside the state. NOLINTNEXTLINE(performance-no-int-to-ptr)
    return reinterpret_cast<QueueEntry*>(static_cast<std::uintptr_t>(word & addresses));
}
Word asWord(const QueueEntry& entry)
{
    return reinterpret_cast<std::uintptr_t>(&entry);
}
bool waitsForReaders(Word word)
{
    return (word & parked) && readersIn(word) > 0;
}
bool hasEntries(Word word)
{
    return (word & (addresses | parked)) != 0;
}

/// Nothing but readers and tickets.
bool admitsReaders(Word word)
{
    return (word & (addresses | draining | parked | retired)) == 0 && readersIn(word) < mostReaders;
}

} // namespace

struct alignas(entryAlignment) WaitingThread : QueueEntry {
    enum State : std::uint32_t { waiting, mayRead, done };

    FutexWord state { waiting };
    FunctionRef<void()> block;
    std::exception_ptr exception;

    WaitingThread(EntryKind theKind, FunctionRef<void()> theBlock)
        : block(theBlock)
    {
        kind = theKind;
    }

    void runBlock() noexcept
    {
        try {
            block();
        } catch (...) {
            exception = std::current_exception();
        }
    }

    /// The thread may return, and this object be gone, as soon as the state has changed.
    void wake(State newState) noexcept
    {
        const FutexWord& word = state;
        state.store(newState, std::memory_order_release);
        futexWake(word);
    }
};

/// Leaves as a reader however the block ends.
class QueueCore::ReaderTurn {
public:
    explicit ReaderTurn(QueueCore& queue)
        : m_queue(queue)
    {
    }
    ~ReaderTurn() { m_queue.leaveAsReader(); }
    ReaderTurn(const ReaderTurn&) = delete;
    ReaderTurn& operator=(const ReaderTurn&) = delete;

private:
    QueueCore& m_queue;
};

/// Ceases to be the drainer however the block ends.
class QueueCore::DrainerTurn {
public:
    explicit DrainerTurn(QueueCore& queue)
        : m_queue(queue)
    {
    }
    ~DrainerTurn() { m_queue.leaveDrain(0); }
    DrainerTurn(const DrainerTurn&) = delete;
    DrainerTurn& operator=(const DrainerTurn&) = delete;

private:
    QueueCore& m_queue;
};

QueueCore::QueueCore()
{
    for (Ticket* ticket : { &m_ticket, &m_urgentTicket }) {
        ticket->queue = this;
        ticket->run = &redeem;
    }
    watchForForks();
}

void QueueCore::submit(EntryKind kind, Work&& work)
{
    __builtin_prefetch(&m_word, 1);
    Block& block = takeBlock();
    block.work = std::move(work);
    block.kind = kind;
    enqueue(block);
}

void QueueCore::submitMade(EntryKind kind, FunctionRef<void(Work&)> make)
{
    __builtin_prefetch(&m_word, 1);
    Block& block = takeBlock();
    try {
        make(block.work);
    } catch (...) {
        giveBack(block);
        throw;
    }
    block.kind = kind;
    enqueue(block);
}

void QueueCore::enqueue(Block& block)
{
    // Acquires too: with the ticket's bit comes the ticket, which the pool has had before.
    Word word = m_word.load(std::memory_order_relaxed);
    Word changed;
    do {
        block.next = newestIn(word);
        changed = calledForDrainer((word & ~addresses) | asWord(block));
    } while (!m_word.compare_exchange_weak(
        word, changed, std::memory_order_acq_rel, std::memory_order_relaxed));
    sendTickets(word, changed);
}

void QueueCore::sync(FunctionRef<void()> block)
{
    Word word = m_word.load(std::memory_order_relaxed);
    if (admitsReaders(word)
        && m_word.compare_exchange_strong(
            word, word + oneReader, std::memory_order_acquire, std::memory_order_relaxed)) {
        ReaderTurn turn(*this);
        block();
        return;
    }
    WaitingThread self(EntryKind::waitingPlain, block);
    syncSlowly(self);
}

void QueueCore::barrierSync(FunctionRef<void()> block)
{
    WaitingThread self(EntryKind::waitingBarrier, block);
    syncSlowly(self);
}

void QueueCore::syncSlowly(WaitingThread& self)
{
    const bool isPlain = self.kind == EntryKind::waitingPlain;
    Word word = m_word.load(std::memory_order_relaxed);
    for (;;) {
        if (isPlain && admitsReaders(word)) {
            if (!m_word.compare_exchange_weak(
                    word, word + oneReader, std::memory_order_acquire, std::memory_order_relaxed))
                continue;
            ReaderTurn turn(*this);
            self.block();
            return;
        }
        if (isForkedChild()) {
            self.block();
            return;
        }
        self.next = newestIn(word);
        const bool becomesDrainer = !(word & draining) && !waitsForReaders(word);
        const Word changed = becomesDrainer
            ? (word & ~(addresses | parked | waiterInside)) | draining
            : (word & ~addresses) | asWord(self) | waiterInside;
        if (!m_word.compare_exchange_weak(
                word, changed, std::memory_order_acq_rel, std::memory_order_relaxed))
            continue;
        if (becomesDrainer)
            drainUpTo(self, (word & ~addresses) | asWord(self));
        else
            awaitTurn(self);
        return;
    }
}

void QueueCore::drainUpTo(WaitingThread& self, Word taken)
{
    Drain drain;
    beginDrain(drain, taken);
    while (runEntries(drain, &self) == Stop::atReaders) {
        drain.hasWaiter = true;
        if (park(drain)) {
            awaitTurn(self);
            return;
        }
    }
    if (self.kind == EntryKind::waitingPlain) {
        leaveDrain(oneReader);
        ReaderTurn turn(*this);
        self.block();
    } else {
        DrainerTurn turn(*this);
        self.block();
    }
}

void QueueCore::awaitTurn(WaitingThread& self)
{
    {
        WorkerPool::Blocked blocked;
        while (self.state.load(std::memory_order_acquire) == WaitingThread::waiting)
            futexWait(self.state, WaitingThread::waiting);
    }
    if (self.state.load(std::memory_order_relaxed) == WaitingThread::mayRead) {
        ReaderTurn turn(*this);
        self.block();
    } else if (self.exception) {
        std::rethrow_exception(self.exception);
    }
}

void QueueCore::redeem(Job& job) noexcept
{
    Ticket& ticket = static_cast<Ticket&>(job);
    QueueCore& queue = *ticket.queue;
    queue.redeem(&ticket == &queue.m_ticket ? ticketOut : urgentTicketOut);
}

void QueueCore::redeem(Word ticketBit)
{
    Word word = m_word.load(std::memory_order_relaxed);
    Word changed;
    bool becomesDrainer;
    do {
        becomesDrainer = hasEntries(word) && !(word & draining) && !waitsForReaders(word);
        changed = word & ~ticketBit;
        if (becomesDrainer)
            changed = (changed & ~(addresses | parked | waiterInside)) | draining;
    } while (!m_word.compare_exchange_weak(
        word, changed, std::memory_order_acq_rel, std::memory_order_relaxed));
    if (becomesDrainer)
        drainOnPool(word);
    else if (changed == retired)
        delete this;
}

void QueueCore::drainOnPool(Word taken)
{
    Drain drain;
    drain.barriersLeft = barriersInARow;
    beginDrain(drain, taken);
    for (;;) {
        switch (runEntries(drain, nullptr)) {
        case Stop::atReaders:
            if (park(drain))
                return;
            break;
        case Stop::outOfBudget:
            pause(drain);
            return;
        case Stop::atEnd:
        case Stop::atOwnEntry:
            if (finishOrTakeMore(drain))
                return;
            break;
        }
    }
}

void QueueCore::beginDrain(Drain& drain, Word taken)
{
    m_drainsStarted.store(
        m_drainsStarted.load(std::memory_order_relaxed) + 1, std::memory_order_relaxed);
    drain.list.append(std::move(m_parked));
    drain.list.appendReversed(newestIn(taken));
    drain.length = 0;
    drain.isAlone = readersIn(taken) == 0;
    drain.hasWaiter = (taken & waiterInside) != 0;
}

/// Runs what may run, from the oldest on. The list keeps the entry at which it stopped.
QueueCore::Stop QueueCore::runEntries(Drain& drain, const WaitingThread* own)
{
    while (Job* const job = drain.list.first()) {
        auto& entry = static_cast<QueueEntry&>(*job);
        const bool isBarrier
            = entry.kind == EntryKind::barrier || entry.kind == EntryKind::waitingBarrier;
        if (isBarrier && !drain.isAlone)
            return Stop::atReaders;
        if (&entry == own)
            return Stop::atOwnEntry;
        ++drain.length;
        if (isBarrier) {
            if (drain.barriersLeft == 0)
                return Stop::outOfBudget;
            --drain.barriersLeft;
            drain.list.takeFirst();
            runBarrier(entry);
        } else {
            if (readersIn(m_word.load(std::memory_order_relaxed)) >= mostReaders)
                return Stop::atReaders;
            drain.list.takeFirst();
            drain.isAlone = false;
            admitReader(entry);
        }
    }
    return Stop::atEnd;
}

void QueueCore::runBarrier(QueueEntry& entry)
{
    if (entry.kind == EntryKind::barrier) {
        Block& block = static_cast<Block&>(entry);
        block.runWork();
        giveBack(block);
    } else {
        WaitingThread& waiter = static_cast<WaitingThread&>(entry);
        waiter.runBlock();
        waiter.wake(WaitingThread::done);
    }
}

void QueueCore::admitReader(QueueEntry& entry)
{
    m_word.fetch_add(oneReader, std::memory_order_acq_rel);
    if (entry.kind == EntryKind::plain) {
        entry.queue = this;
        entry.run = &runPlainBlock;
        WorkerPool::shared().post(entry);
    } else {
        static_cast<WaitingThread&>(entry).wake(WaitingThread::mayRead);
    }
}

void QueueCore::runPlainBlock(Job& job) noexcept
{
    Block& block = static_cast<Block&>(static_cast<QueueEntry&>(job));
    QueueCore& queue = *block.queue;
    block.runWork();
    giveBack(block);
    queue.leaveAsReader();
}

/// Leaves the rest of the list to the last of the readers. False when there are none any more.
bool QueueCore::park(Drain& drain)
{
    m_parked = std::exchange(drain.list, {});
    Word word = m_word.load(std::memory_order_acquire);
    while (readersIn(word) > 0) {
        const Word changed
            = (word & ~draining) | parked | (drain.hasWaiter ? waiterInside : Word(0));
        if (m_word.compare_exchange_weak(
                word, changed, std::memory_order_release, std::memory_order_acquire))
            return true;
    }
    drain.list = std::exchange(m_parked, {});
    drain.isAlone = true;
    return false;
}

/// Leaves the rest of the list to a later turn. Comes only after a barrier, so there are no
/// readers that could be waited for instead.
void QueueCore::pause(Drain& drain)
{
    m_parked = std::exchange(drain.list, {});
    Word word = m_word.load(std::memory_order_relaxed);
    Word changed;
    do {
        changed = calledForDrainer(
            (word & ~draining) | parked | (drain.hasWaiter ? waiterInside : Word(0)));
    } while (!m_word.compare_exchange_weak(
        word, changed, std::memory_order_acq_rel, std::memory_order_relaxed));
    sendTickets(word, changed);
}

/// True when this thread has ceased to be the drainer.
bool QueueCore::finishOrTakeMore(Drain& drain)
{
    Word word = m_word.load(std::memory_order_relaxed);
    for (;;) {
        const bool takesMore
            = newestIn(word) && (drain.length >= shortList || (word & waiterInside));
        const Word changed
            = takesMore ? word & ~(addresses | waiterInside) : calledForDrainer(word & ~draining);
        if (!m_word.compare_exchange_weak(
                word, changed, std::memory_order_acq_rel, std::memory_order_relaxed))
            continue;
        if (takesMore)
            beginDrain(drain, word);
        else
            sendTickets(word, changed, true);
        return !takesMore;
    }
}

void QueueCore::leaveDrain(Word readers)
{
    Word word = m_word.load(std::memory_order_relaxed);
    Word changed;
    do {
        changed = calledForDrainer((word & ~draining) + readers);
    } while (!m_word.compare_exchange_weak(
        word, changed, std::memory_order_acq_rel, std::memory_order_relaxed));
    sendTickets(word, changed);
}

void QueueCore::leaveAsReader()
{
    Word word = m_word.load(std::memory_order_relaxed);
    Word changed;
    do {
        changed = calledForDrainer(word - oneReader);
    } while (!m_word.compare_exchange_weak(
        word, changed, std::memory_order_acq_rel, std::memory_order_relaxed));
    sendTickets(word, changed);
}

/// `word` with the bit of the ticket that has to be sent for the invariant to hold.
QueueCore::Word QueueCore::calledForDrainer(Word word)
{
    if (!hasEntries(word) || (word & (draining | urgentTicketOut)) || waitsForReaders(word))
        return word;
    if (word & waiterInside)
        return word | urgentTicketOut;
    return word | ticketOut;
}

/// Sends the tickets whose bits have come up. The queue may be gone when it returns.
void QueueCore::sendTickets(Word before, Word after, bool isInNoHurry)
{
    const Word sent = after & ~before & (ticketOut | urgentTicketOut);
    if (!sent || isForkedChild())
        return;
    if ((sent & ticketOut) && isInNoHurry)
        WorkerPool::shared().postAfterNap(m_ticket);
    else if (sent & ticketOut)
        WorkerPool::shared().postNearby(m_ticket);
    if (sent & urgentTicketOut)
        WorkerPool::shared().postUrgently(m_urgentTicket);
}

bool QueueCore::isIdle() const
{
    const Word word = m_word.load(std::memory_order_acquire);
    return !hasEntries(word) && !(word & draining) && readersIn(word) == 0;
}

void QueueCore::retire(QueueCore* core)
{
    if (isForkedChild())
        return; // Threads that are not here may be all over it. Let it lie.
    Word word = core->m_word.load(std::memory_order_acquire);
    for (;;) {
        if (word & ~(ticketOut | urgentTicketOut)) {
            core->barrierSync([] {});
            word = core->m_word.load(std::memory_order_acquire);
        } else if (core->m_word.compare_exchange_weak(word, word | retired,
                       std::memory_order_acq_rel, std::memory_order_acquire)) {
            break;
        }
    }
    if (word == 0)
        delete core;
}

} // namespace telvora
