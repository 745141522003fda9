#pragma once

#include <Telvora/Base/Work.h>
#include <Telvora/Platform/Linux/Block.h>

#include <atomic>
#include <cstdint>
#include <limits>

namespace telvora {

/// A thread that waits for its synchronous block's turn. Lives on that thread's stack.
struct WaitingThread;

/// The queue proper: a list of submissions and a reader-writer state, together in one word.
///
/// Submitting is one compare-and-swap of that word. Whoever has its `draining` bit is the drainer:
/// it takes the whole list at once and goes through it from the oldest to the newest. Barriers run
/// on the drainer's thread, one after the other; plain blocks count as readers and are handed to
/// the pool. A barrier that meets readers is parked with all that is behind it, and the last reader
/// to leave calls for a drainer. A synchronous plain block on a queue at rest is one load and one
/// compare-and-swap to enter as a reader and one to leave. On a queue where work is pending and
/// nobody drains, a synchronous caller drains itself instead of waiting for the pool.
///
/// Invariant: where entries wait (in the list or parked) and there is no drainer, either a ticket
/// for one is with the pool, or they wait for readers, the last of whom sends one.
///
/// Life: retire() instead of delete, since a ticket may still be with the pool; the ticket's
/// return destroys the core then.
/// Threads: every operation from any thread, retire() once and with no other after it.
class QueueCore {
public:
    QueueCore();

    void submit(EntryKind kind, Work&& work);
    void submitMade(EntryKind kind, FunctionRef<void(Work&)> make);
    void sync(FunctionRef<void()> block);
    void barrierSync(FunctionRef<void()> block);

    /// Waits until all that was submitted has run, running it where nobody else does.
    static void retire(QueueCore* core);

    /// Nothing waits and nothing runs.
    bool isIdle() const;

    /// Changes whenever somebody begins to drain.
    std::uint64_t drainsStarted() const { return m_drainsStarted.load(std::memory_order_relaxed); }

private:
    using Word = std::uint64_t;

    /// What a drainer has in hand.
    struct Drain {
        JobList list;
        /// There are no readers, and while this thread is the drainer there will be none.
        bool isAlone = false;
        /// A thread waits for something in the list.
        bool hasWaiter = false;
        /// Before the drainer looks after other queues.
        /// Entries since the list was last taken.
        unsigned length = 0;
        unsigned barriersLeft = std::numeric_limits<unsigned>::max();
    };

    enum class Stop { atEnd, atReaders, atOwnEntry, outOfBudget };

    struct Ticket : Job {
        QueueCore* queue = nullptr;
    };

    class ReaderTurn;
    class DrainerTurn;

    ~QueueCore() = default;

    static void redeem(Job& ticket) noexcept;
    static void runPlainBlock(Job& block) noexcept;
    static Word calledForDrainer(Word word);

    void enqueue(Block& block);
    void syncSlowly(WaitingThread& self);
    void drainUpTo(WaitingThread& self, Word taken);
    void awaitTurn(WaitingThread& self);
    void redeem(Word ticketBit);
    void drainOnPool(Word taken);

    void beginDrain(Drain& drain, Word taken);
    Stop runEntries(Drain& drain, const WaitingThread* own);
    static void runBarrier(QueueEntry& entry);
    void admitReader(QueueEntry& entry);
    bool park(Drain& drain);
    void pause(Drain& drain);
    bool finishOrTakeMore(Drain& drain);
    void leaveDrain(Word readers);
    void leaveAsReader();
    void sendTickets(Word before, Word after, bool isInNoHurry = false);

    alignas(64) std::atomic<Word> m_word { 0 };

    /// The drainer's; while there is none, of nobody.
    alignas(64) JobList m_parked;
    std::atomic<std::uint64_t> m_drainsStarted { 0 };
    Ticket m_ticket;
    Ticket m_urgentTicket;
};

} // namespace telvora
