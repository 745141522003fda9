#pragma once

#include <Telvora/Platform/Dispatch/BlockList.h>
#include <Telvora/Platform/Dispatch/BriefLock.h>
#include <Telvora/Platform/Dispatch/Turn.h>
#include <Telvora/Platform/Dispatch/WorkerPool.h>
#include <Telvora/Platform/DispatchQueue.h>

#include <cstdint>
#include <memory>
#include <string>

namespace telvora::detail {

/// What the queues of one dispatch have in common.
struct DispatchShare {
    explicit DispatchShare(StartThread startThread)
        : pool(std::make_shared<WorkerPool>(startThread))
    {
    }

    BlockChunkStore chunks;
    const std::shared_ptr<WorkerPool> pool;
};

/// The queue proper: a list of blocks, a lock for those who append to it, and a turn for those who
/// run it.
///
/// While blocks are unfinished, exactly one ticket of the queue is with the pool. The worker that
/// redeems it takes the turn alone and runs blocks, up to a number and as long as nobody else waits
/// for the turn; then it hands the ticket in again. After few blocks that is a nap later, so that
/// more blocks gather and their submitters wake nobody. A redemption that finds nothing keeps the
/// ticket; the next submission sends it anew.
///
/// A synchronous block first sees to it that every block submitted before it has run, on the
/// calling thread if need be; then the caller takes the turn and runs its own block, always on its
/// own thread. Two things that nothing orders may overtake one another.
///
/// Invariants: the list is appended to with the lock held and taken from with the turn held alone.
/// Nobody waits for the turn while holding the lock, and no queue's lock is held when the pool's is
/// taken.
///
/// Life: shared by the queue that the library holds and, while the ticket is out, by the ticket.
class QueueCore final : public Job, public std::enable_shared_from_this<QueueCore> {
public:
    QueueCore(std::shared_ptr<DispatchShare> share, std::string label);

    void submit(FunctionRef<void(Work&)> make) TELVORA_EXCLUDES(m_lock, m_turn);
    void runShared(FunctionRef<void()> block) TELVORA_EXCLUDES(m_lock, m_turn);
    void runAlone(FunctionRef<void()> block) TELVORA_EXCLUDES(m_lock, m_turn);

    /// Waits until nothing is left to run, unless it is a block of this queue that asks.
    void finish() TELVORA_EXCLUDES(m_lock, m_turn);

    /// Redeems the ticket.
    void run() noexcept override TELVORA_EXCLUDES(m_lock, m_turn);

private:
    /// Runs blocks until `last` of all that were ever submitted have run.
    void runUpTo(std::uint64_t last) TELVORA_REQUIRES(m_turn);
    void runFirst() TELVORA_REQUIRES(m_turn);
    /// How many blocks it has run: what waits when it begins, up to a number.
    unsigned runSome() TELVORA_REQUIRES(m_turn);
    /// The queue's own hold on itself if it is at rest and the ticket is kept.
    std::shared_ptr<QueueCore> keepTicketAtRest() TELVORA_REQUIRES(m_turn) TELVORA_EXCLUDES(m_lock);

    const std::shared_ptr<DispatchShare> m_share;
    Turn m_turn;
    // What submitting touches begins a cache line.
    alignas(64) BriefLock m_lock;
    /// Set while the ticket is with the pool.
    std::shared_ptr<QueueCore> m_ticketHolder TELVORA_GUARDED_BY(m_lock);
    BlockList m_list;
};

/// A queue of ThreadedDispatch.
class ThreadedDispatchQueue final : public DispatchQueue {
public:
    ThreadedDispatchQueue(std::shared_ptr<DispatchShare> share, std::string label);
    ~ThreadedDispatchQueue() override;

    ThreadedDispatchQueue(const ThreadedDispatchQueue&) = delete;
    ThreadedDispatchQueue& operator=(const ThreadedDispatchQueue&) = delete;

    void barrierAsync(Work block) override;
    void sync(FunctionRef<void()> block) override;
    void barrierSync(FunctionRef<void()> block) override;

protected:
    void makeBarrier(FunctionRef<void(Work&)> make) override;

private:
    const std::shared_ptr<QueueCore> m_core;
};

} // namespace telvora::detail
