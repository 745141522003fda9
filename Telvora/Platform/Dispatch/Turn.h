#pragma once

#include <Telvora/Base/ThreadAnnotations.h>
#include <Telvora/Platform/Dispatch/WorkerPool.h>

#include <atomic>
#include <shared_mutex>
#include <string>
#include <thread>

namespace telvora::detail {

/// Whose turn it is to work on a queue: one thread alone, or any number of readers together.
///
/// Threads: any. Not recursive: a thread that asks for a turn that it holds alone would wait for
/// itself, and stops the process instead. Neither fair nor first come, first served; handing the
/// turn over in order costs every owner a sleep.
class TELVORA_CAPABILITY("turn") Turn {
public:
    /// `pool` has another worker take the place of one that waits here. `label` is the queue's.
    Turn(WorkerPool& pool, std::string label);

    void takeAlone() TELVORA_ACQUIRE();
    void leaveAlone() TELVORA_RELEASE();

    void takeShared() TELVORA_ACQUIRE_SHARED();
    void leaveShared() TELVORA_RELEASE_SHARED();

    /// Whether a thread waits for its turn.
    bool isAwaited() const { return m_awaiting.load(std::memory_order_relaxed) > 0; }

    /// Whether the calling thread has the turn alone.
    bool isOwn() const
    {
        return m_owner.load(std::memory_order_relaxed) == std::this_thread::get_id();
    }

private:
    class Awaiting;

    WorkerPool& m_pool;
    const std::string m_label;
    std::shared_mutex m_mutex;
    std::atomic<unsigned> m_awaiting { 0 };
    /// Only ever compared with the thread that reads it.
    std::atomic<std::thread::id> m_owner;
};

/// Has the turn alone for the length of a scope, unless that scope forked: a child has no turns.
class TELVORA_SCOPED_CAPABILITY AloneTurn {
public:
    explicit AloneTurn(Turn& turn) TELVORA_ACQUIRE(turn);
    ~AloneTurn() TELVORA_RELEASE();

    AloneTurn(const AloneTurn&) = delete;
    AloneTurn& operator=(const AloneTurn&) = delete;

private:
    Turn& m_turn;
};

/// Shares the turn for the length of a scope, in the same way.
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
