#pragma once

#include <Telvora/Base/Export.h>
#include <Telvora/Base/Work.h>

#include <chrono>
#include <memory>
#include <string>
#include <utility>

namespace telvora {

class TimerSource;

/// A queue of blocks with the order of a reader-writer lock: plain blocks may run side by side, a
/// barrier runs alone, after all that was submitted before it and before all that comes later.
/// Barriers of one queue run in the order of submission.
///
/// Life: a queue may be destroyed while blocks are pending; the destructor waits until they have
/// run. It must not be destroyed from one of its own blocks.
///
/// Threads: every operation from any thread. async() and barrierAsync() return at once and never
/// wait for a block. sync() and barrierSync() run the block before they return, on the caller's
/// thread or another, and must not be called from a block of the same queue: they would wait for
/// themselves. Submitting from inside a block, of this queue or another, is fine.
///
/// Failure: an exception that leaves an asynchronous block is swallowed at the thread's boundary;
/// one that leaves a synchronous block reaches the caller.
class TELVORA_EXPORT DispatchQueue {
public:
    virtual ~DispatchQueue() = default;

    virtual void async(Work block) = 0;
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

/// Where queues and timers come from, and the one queue that is always there.
///
/// Threads: every operation from any thread.
///
/// Implementations: Linux/LinuxDispatch (a pool of threads that grows while its threads wait),
/// Simulated/ManualDispatch (runs a block when told).
class TELVORA_EXPORT Dispatch {
public:
    virtual ~Dispatch() = default;

    /// A concurrent queue of its own. `label` names it to people; two queues may share a label.
    virtual std::unique_ptr<DispatchQueue> makeConcurrentQueue(std::string label) = 0;

    /// A repeating timer, suspended, whose handler runs on the global queue.
    virtual std::unique_ptr<TimerSource> makeTimerSource() = 0;

    /// Runs `block` on the global default-priority queue.
    virtual void globalAsync(Work block) = 0;

    /// Runs `block` on the global default-priority queue, `delay` of steady time from now.
    virtual void globalAsyncAfter(std::chrono::nanoseconds delay, Work block) = 0;

    /// Hands `block` to the host's main thread where the platform has one to hand to, else to the
    /// global queue.
    virtual void mainAsync(Work block) = 0;
};

} // namespace telvora
