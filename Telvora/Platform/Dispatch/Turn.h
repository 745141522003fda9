#pragma once

#include <Telvora/Base/ThreadAnnotations.h>
#include <Telvora/Platform/Dispatch/WorkerPool.h>

#include <atomic>
#include <shared_mutex>
#include <string>
#include <thread>

namespace telvora::detail {

/// The reader-writer lock of a queue: held by one thread alone, or shared by any number of threads.
/// A thread holds it while it runs the queue's blocks. It adds three things to std::shared_mutex:
/// it says whether a thread waits, the pool replaces a worker that waits, and misuse stops the
/// process.
///
/// Threads: any. Not recursive: a thread that takes a turn that it already holds would wait for
/// itself, so the process stops with a message instead. This includes a turn that it holds shared
/// and takes shared again, which would succeed only as long as no barrier waits. Waiting threads
/// get the turn in no fixed order, because a fixed order would make every owner sleep.
class TELVORA_CAPABILITY("turn") Turn {
public:
    /// `pool` may replace a worker while it waits here. `label` is the queue's, for the message.
    Turn(WorkerPool& pool, std::string label);

    void takeAlone() TELVORA_ACQUIRE();
    /// False if another thread holds the turn, or the calling thread itself.
    bool tryTakeAlone() TELVORA_TRY_ACQUIRE(true);
    void leaveAlone() TELVORA_RELEASE();

    void takeShared() TELVORA_ACQUIRE_SHARED();
    void leaveShared() TELVORA_RELEASE_SHARED();

    /// Whether a thread waits for the turn.
    bool isAwaited() const { return m_waiting.load(std::memory_order_relaxed) > 0; }

    /// Whether the calling thread holds the turn alone.
    bool isOwn() const
    {
        return m_owner.load(std::memory_order_relaxed) == std::this_thread::get_id();
    }

private:
    friend class SharedTurn;
    class Waiting;

    // Stops the process: the calling thread would wait for itself.
    [[noreturn]] void refuse() const;

    WorkerPool& m_pool;
    const std::string m_label;
    std::shared_mutex m_mutex;
    std::atomic<unsigned> m_waiting { 0 };
    // A thread compares it only with itself, and no other thread stores that value: relaxed order
    // suffices.
    std::atomic<std::thread::id> m_owner;
};

/// Holds the turn alone for a scope. In a child that was forked in the scope it releases nothing.
class TELVORA_SCOPED_CAPABILITY AloneTurn {
public:
    explicit AloneTurn(Turn& turn) TELVORA_ACQUIRE(turn);
    /// For a thread that has taken the turn already.
    enum class Taken { already };
    AloneTurn(Turn& turn, Taken) TELVORA_REQUIRES(turn);
    ~AloneTurn() TELVORA_RELEASE();

    AloneTurn(const AloneTurn&) = delete;
    AloneTurn& operator=(const AloneTurn&) = delete;

private:
    Turn& m_turn;
};

/// Holds the turn shared for a scope, in the same way. The objects of one thread are a list on its
/// stack, so that the thread knows the turns that it holds shared.
class TELVORA_SCOPED_CAPABILITY SharedTurn {
public:
    explicit SharedTurn(Turn& turn) TELVORA_ACQUIRE_SHARED(turn);
    ~SharedTurn() TELVORA_RELEASE();

    SharedTurn(const SharedTurn&) = delete;
    SharedTurn& operator=(const SharedTurn&) = delete;

private:
    friend class Turn;

    // Whether the calling thread has taken `turn` shared since it took `end`; null means ever.
    static bool isHeld(const Turn& turn, const SharedTurn* end);

    Turn& m_turn;
    const SharedTurn* const m_outer;
};

/// Says for a scope that the calling thread runs asynchronous blocks. These are no part of the
/// synchronous block around the scope: they may take a turn shared that it holds shared.
class AsynchronousBlocks {
public:
    AsynchronousBlocks();
    ~AsynchronousBlocks();

    AsynchronousBlocks(const AsynchronousBlocks&) = delete;
    AsynchronousBlocks& operator=(const AsynchronousBlocks&) = delete;

private:
    const SharedTurn* const m_outer;
};

} // namespace telvora::detail
