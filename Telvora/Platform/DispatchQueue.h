#pragma once

#include <Telvora/Base/Export.h>
#include <Telvora/Base/Signal.h>
#include <Telvora/Base/Work.h>

#include <chrono>
#include <cstddef>
#include <memory>
#include <string>
#include <utility>

namespace telvora {

class TimerSource;

/// A queue of blocks with the order of a reader-writer lock. A barrier runs alone: after all blocks
/// that were submitted before it, and before all that are submitted after it. Two submissions that
/// overlap in time may run in either order. Synchronous blocks without a barrier may run in
/// parallel.
///
/// Used by TrackerManager (intake), ReadWriteLock and QuorvexLog.
///
/// Life: a queue may be destroyed while blocks are pending; the destructor waits until they have
/// run. If one of the queue's asynchronous blocks destroys it, the other blocks run later.
///
/// Threads: every operation from any thread. barrierAsync() returns at once and never waits for a
/// block. sync() and barrierSync() run the block on the calling thread before they return. They
/// must not be called from a block of the same queue, directly or from a synchronous block of
/// another queue: they would wait for themselves, so the process stops with a message instead. A
/// block may submit asynchronous blocks to any queue.
///
/// Failure: an exception that leaves an asynchronous block is dropped; one that leaves a
/// synchronous block reaches the caller.
///
/// Implementations: Dispatch/ThreadedDispatchQueue, Simulated/ManualDispatch (has its own).
class TELVORA_EXPORT DispatchQueue {
public:
    virtual ~DispatchQueue() = default;

    /// Submits a barrier and returns at once.
    virtual void barrierAsync(Work block) = 0;
    /// The same, but an implementation may run the block on the calling thread before it returns,
    /// if nothing else is queued or running on the queue: that wakes no thread. For short blocks
    /// that wait for nothing.
    virtual void barrierNowOrLater(Work block) { barrierAsync(std::move(block)); }
    /// Runs `block`, which may run in parallel with other sync() blocks.
    virtual void sync(FunctionRef<void()> block) = 0;
    /// Runs `block` as a barrier.
    virtual void barrierSync(FunctionRef<void()> block) = 0;

    /// How many blocks wait behind the one that calls this, a barrier of this queue.
    virtual std::size_t blocksBehind() const { return 0; }

    /// barrierAsync() of a `Block { arguments... }` that is built in the queue's memory. For
    /// callers for whom moving the block would be most of the cost of a submission.
    template<typename Block, typename... Arguments> void emplaceBarrier(Arguments&&... arguments)
    {
        makeBarrier(
            [&](Work& work) { work.emplace<Block>(std::forward<Arguments>(arguments)...); });
    }

protected:
    /// Calls `make` once, before it returns, with an empty `Work` to fill. If `make` throws, the
    /// exception reaches the caller and nothing is submitted.
    virtual void makeBarrier(FunctionRef<void(Work&)> make)
    {
        Work work;
        make(work);
        barrierAsync(std::move(work));
    }
};

/// Makes queues and timers, and has the global default-priority queue, on which ticks and delayed
/// blocks run in parallel.
///
/// Used by TrackerManager, ReadWriteLock and QuorvexLog (queues), TrackerTimer (a timer),
/// TrackerDataLifeCycleTrace (a delay) and the Reachability classes (the main thread).
///
/// Threads: every operation from any thread.
///
/// Implementations: Dispatch/ThreadedDispatch (a pool of threads that grows while its threads
/// wait), Simulated/ManualDispatch (runs blocks when the test says so).
class TELVORA_EXPORT Dispatch {
public:
    virtual ~Dispatch() = default;

    /// A new concurrent queue. `label` is shown in messages; two queues may have the same label.
    virtual std::unique_ptr<DispatchQueue> makeConcurrentQueue(std::string label) = 0;

    /// A new repeating timer, suspended. Its handler runs on the global queue.
    virtual std::unique_ptr<TimerSource> makeTimerSource() = 0;

    /// Runs `block` on the global default-priority queue, `delay` of steady time from now; at once
    /// for a delay of 0 or less.
    virtual void globalAsyncAfter(std::chrono::nanoseconds delay, Work block) = 0;

    /// Submits `block` to the host's main thread; to the global queue if the platform does not know
    /// the main thread.
    virtual void mainAsync(Work block) = 0;

    /// Waits until `signal` is set; false when `longest` of steady time has passed first. Called
    /// where the signal may depend on the caller (in a block, on a thread of the dispatch's own),
    /// it does not wait.
    virtual bool wait(const detail::Signal& signal, std::chrono::nanoseconds longest)
    {
        return signal.waitFor(longest);
    }
};

} // namespace telvora
