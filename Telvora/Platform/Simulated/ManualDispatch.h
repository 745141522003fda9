#pragma once

#include <Telvora/Base/Export.h>
#include <Telvora/Platform/DispatchQueue.h>
#include <Telvora/Platform/Simulated/ManualClock.h>

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>

namespace telvora {

namespace detail {
class ManualDispatchCore;
}

/// A Dispatch without threads: blocks pile up until the test runs them, on the test's own thread.
///
/// A block is one asynchronous submission to any queue, one tick or delayed block that has come
/// due, or one answer that has come due (the HTTP twin submits those here). Blocks run in the
/// order in which they became ready. With a seed other than 0 they run in another order, one that
/// the queues' rules allow: barriers and the main queue keep theirs, all else changes places. The
/// same seed gives the same run.
///
/// A synchronous submission runs on the spot, held or not: first the blocks that were queued
/// before it on the same queue, then itself; nothing of any other queue. Destroying a queue runs
/// what is pending on it.
///
/// Time moves by advance() alone and stands still while blocks run.
///
/// Threads: asynchronous submissions, timers and the questions of state from any thread. What runs
/// blocks (the run functions, advance(), synchronous submissions, destroying a queue) belongs to
/// one thread at a time. The thread that made the object counts as the main thread.
///
/// Failure: where the real platform would wait for ever, a synchronous submission onto the queue
/// whose block is running, the process stops with a message. So it does when a block calls one of
/// the run functions or advance().
///
/// Deliberate: a timer with an interval of zero or less ticks once at every instant at which the
/// clock stops, not once a nanosecond.
class TELVORA_EXPORT ManualDispatch final : public Dispatch {
public:
    enum class TimerAction {
        schedule,
        suspend,
        resume,
    };

    /// Told of each call on a timer source, with the interval that the source has then.
    using TimerObserver = std::function<void(TimerAction, std::chrono::nanoseconds interval)>;

    /// `clock` must outlive this object and what it makes, and be moved by nobody else.
    explicit ManualDispatch(ManualClock& clock, std::uint64_t seed = 0);
    /// Blocks that have not run are dropped.
    ~ManualDispatch() override;

    std::unique_ptr<DispatchQueue> makeConcurrentQueue(std::string label) override;
    std::unique_ptr<TimerSource> makeTimerSource() override;
    void globalAsyncAfter(std::chrono::nanoseconds delay, Work block) override;
    void mainAsync(Work block) override;

    /// Runs `block` as one of no queue, free to run beside any other, `delay` from now. For twins
    /// that call back on threads of their own.
    void completionAsync(std::chrono::nanoseconds delay, Work block);

    /// Runs `block` on the spot as if another thread did so while the caller waits.
    void runOnOtherThread(FunctionRef<void()> block);

    /// Runs the next block, held or not. False when none is ready.
    bool runNext();
    /// The same up to `count` times; how many blocks were run.
    std::size_t step(std::size_t count = 1);
    /// Runs blocks until none is ready, those that they submit included. Nothing while held.
    void runUntilIdle();

    /// Moves both clocks forward by `step`, stopping at each instant at which a timer, a delayed
    /// block or a delayed answer comes due, up to and including the last. What is due becomes
    /// ready in the order in which it was asked for; unless held, everything is run to rest
    /// before time moves on.
    void advance(std::chrono::nanoseconds step);

    /// Blocks pile up from now on, or run again with the next run function.
    void setHold(bool isHeld);
    bool isHeld() const;

    /// Blocks that are ready and have not run.
    std::size_t readyBlockCount() const;
    /// Those among them that are barriers.
    std::size_t readyBarrierCount() const;
    /// When the next timer, delayed block or delayed answer comes due; absent when nothing waits.
    std::optional<std::chrono::steady_clock::time_point> nextInstant() const;

    /// Whether a block is running, so that the run functions and advance() may not be called.
    bool isRunningBlock() const;

    /// Whether what runs now runs on the main thread: the test's own calls, blocks of the main
    /// queue, and the synchronous blocks of both. False on any other real thread.
    bool isOnMainThread() const;

    void setTimerObserver(TimerObserver observer);

private:
    std::shared_ptr<detail::ManualDispatchCore> m_core;
};

} // namespace telvora
