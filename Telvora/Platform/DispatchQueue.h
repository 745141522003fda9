#pragma once

#include <Telvora/Base/Export.h>
#include <Telvora/Base/Work.h>

#include <chrono>
#include <memory>
#include <string>
#include <utility>

namespace telvora {

class TimerSource;

/// A queue of blocks with the order of a reader-writer lock. A barrier runs alone: after all that
/// was submitted before it and before all that is submitted later, as far as one submission comes
/// before the other in time. Synchronous blocks without a barrier may run side by side.
///
/// Life: a queue may be destroyed while blocks are pending; the destructor waits until they have
/// run. Where it is one of its own blocks that destroys it, the rest runs later.
///
/// Threads: every operation from any thread. barrierAsync() returns at once and never waits for a
/// block. sync() and barrierSync() run the block on the calling thread before they return, and
/// must not be called from a block of the same queue: they would wait for themselves, and stop the
/// process instead. Submitting from inside a block, of this queue or another, is fine.
///
/// Failure: an exception that leaves an asynchronous block is swallowed at the thread's boundary;
/// one that leaves a synchronous block reaches the caller.
///
/// Implementations: Dispatch/ThreadedDispatchQueue, Simulated/ManualDispatch (has its own).
class TELVORA_EXPORT DispatchQueue {
public:
    virtual ~DispatchQueue() = default;

    virtual void barrierAsync(Work block) = 0;
    virtual void sync(FunctionRef<void()> block) = 0;
    virtual void barrierSync(FunctionRef<void()> block) = 0;

    /// barrierAsync() of a `Block { arguments... }` that is made where it will wait, for callers
    /// to whom moving what it carries is most of what a submission costs.
    template<typename Block, typename... Arguments> void emplaceBarrier(Arguments&&... arguments)
    {
        makeBarrier(
            [&](Work& work) { work.emplace<Block>(std::forward<Arguments>(arguments)...); });
    }

protected:
    /// Calls `make` once, before it returns, with empty work to fill; what it throws reaches the
    /// caller, and nothing is submitted then.
    virtual void makeBarrier(FunctionRef<void(Work&)> make)
    {
        Work work;
        make(work);
        barrierAsync(std::move(work));
    }
};

/// Where queues and timers come from, and the global default-priority queue, on which ticks and
/// delayed blocks run side by side.
///
/// Threads: every operation from any thread.
///
/// Implementations: Dispatch/ThreadedDispatch (a pool of threads that grows while its threads
/// wait), Simulated/ManualDispatch (runs a block when told).
class TELVORA_EXPORT Dispatch {
public:
    virtual ~Dispatch() = default;

    /// A concurrent queue of its own. `label` names it to people; two queues may share a label.
    virtual std::unique_ptr<DispatchQueue> makeConcurrentQueue(std::string label) = 0;

    /// A repeating timer, suspended, whose handler runs on the global queue.
    virtual std::unique_ptr<TimerSource> makeTimerSource() = 0;

    /// Runs `block` on the global default-priority queue, `delay` of steady time from now.
    virtual void globalAsyncAfter(std::chrono::nanoseconds delay, Work block) = 0;

    /// Hands `block` to the host's main thread where the platform has one to hand to, else to the
    /// global queue.
    virtual void mainAsync(Work block) = 0;
};

} // namespace telvora
