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
/// Threads: any. Not recursive: a thread that takes a turn that it already holds alone would wait
/// for itself, so the process stops with a message instead. Waiting threads get it in no fixed
/// order, because a fixed order would make every owner sleep.
class TELVORA_CAPABILITY("turn") Turn {
public:
    /// `pool` may replace a worker while it waits here. `label` is the queue's, for the message.
    Turn(WorkerPool& pool, std::string label);

    void takeAlone() TELVORA_ACQUIRE();
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
    class Waiting;

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
    ~AloneTurn() TELVORA_RELEASE();

    AloneTurn(const AloneTurn&) = delete;
    AloneTurn& operator=(const AloneTurn&) = delete;

private:
    Turn& m_turn;
};

/// Holds the turn shared for a scope, in the same way.
class TELVORA_SCOPED_CAPABILITY SharedTurn {
public:
    explicit SharedTurn(Turn& turn) TELVORA_ACQUIRE_SHARED(turn);
    ~SharedTurn() TELVORA_RELEASE();

    SharedTurn(const SharedTurn&) = delete;
    SharedTurn& operator=(const SharedTurn&) = delete;

private:
    Turn& m_turn;
};

} // namespace telvora::detail
