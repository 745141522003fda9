#pragma once

#include <Telvora/Platform/Dispatch/BlockList.h>
#include <Telvora/Platform/Dispatch/BriefLock.h>
#include <Telvora/Platform/Dispatch/Turn.h>
#include <Telvora/Platform/Dispatch/WorkerPool.h>
#include <Telvora/Platform/DispatchQueue.h>

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>

namespace telvora::detail {

/// What the queues of one dispatch share.
struct DispatchShare {
    explicit DispatchShare(StartThread startThread)
        : pool(std::make_shared<WorkerPool>(startThread))
    {
    }

    BlockChunkStore chunks;
    const std::shared_ptr<WorkerPool> pool;
};

/// The implementation of a queue: a list of blocks, a lock for appending to it, and a turn for
/// running its blocks. The library holds it through a ThreadedDispatchQueue.
///
/// While the list has blocks, the queue is scheduled: it is one job of the pool. The worker that
/// runs the job takes the turn alone and runs blocks, up to a limit and while no other thread waits
/// for the turn. Then it posts the job again; after few blocks with a delay, so that more blocks
/// gather and their submission wakes no thread. When the worker finds no block, the queue is no
/// longer scheduled, and the next submission schedules it again.
///
/// The caller of a synchronous block first takes the turn and runs all blocks that were submitted
/// before it and have not run yet. Then it runs its own block, always on its own thread. The order
/// of two submissions is fixed only if one has returned before the other begins.
///
/// Invariants: blocks are appended with the lock held and removed with the turn held alone. No
/// thread waits for the turn while it holds the lock, or takes the pool's lock while it holds a
/// queue's.
///
/// Life: shared by the ThreadedDispatchQueue and, while scheduled, by the queue itself.
class QueueCore final : public Job, public std::enable_shared_from_this<QueueCore> {
public:
    QueueCore(std::shared_ptr<DispatchShare> share, std::string label);

    void submit(FunctionRef<void(Work&)> make) TELVORA_EXCLUDES(m_lock, m_turn);
    void runShared(FunctionRef<void()> block) TELVORA_EXCLUDES(m_lock, m_turn);
    void runAlone(FunctionRef<void()> block) TELVORA_EXCLUDES(m_lock, m_turn);

    /// Called from an asynchronous block of this queue, which is the first in the list.
    std::size_t blocksBehind() const
    {
        const std::uint64_t count = m_list.appendedCount() - m_list.removedCount();
        return static_cast<std::size_t>(count) - 1;
    }

    /// Runs `block` alone on the calling thread if no other block waits or runs; otherwise returns
    /// false.
    bool runIfIdle(Work& block) TELVORA_EXCLUDES(m_lock, m_turn);

    /// Waits until all blocks have run. Called from a block of this queue, it returns at once.
    void finish() TELVORA_EXCLUDES(m_lock, m_turn);

    /// The pool's job: runs blocks.
    void run() noexcept override TELVORA_EXCLUDES(m_lock, m_turn);

private:
    // Runs blocks until m_list.removedCount() is `last`.
    void runUpTo(std::uint64_t last) TELVORA_REQUIRES(m_turn);
    void runFirst() TELVORA_REQUIRES(m_turn);
    // Runs the blocks that wait now, up to a limit. Returns how many it ran.
    unsigned runSome() TELVORA_REQUIRES(m_turn);
    // Ends the scheduling if the list is empty and returns m_scheduledSelf then, else null.
    std::shared_ptr<QueueCore> unscheduleIfEmpty() TELVORA_REQUIRES(m_turn)
        TELVORA_EXCLUDES(m_lock);

    const std::shared_ptr<DispatchShare> m_share;
    Turn m_turn;
    // What submit() writes begins a cache line of its own.
    alignas(64) BriefLock m_lock;
    // Keeps the queue alive while it is scheduled; null otherwise.
    std::shared_ptr<QueueCore> m_scheduledSelf TELVORA_GUARDED_BY(m_lock);
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
    void barrierNowOrLater(Work block) override;
    void sync(FunctionRef<void()> block) override;
    void barrierSync(FunctionRef<void()> block) override;
    std::size_t blocksBehind() const override { return m_core->blocksBehind(); }

protected:
    void makeBarrier(FunctionRef<void(Work&)> make) override;

private:
    const std::shared_ptr<QueueCore> m_core;
};

} // namespace telvora::detail
