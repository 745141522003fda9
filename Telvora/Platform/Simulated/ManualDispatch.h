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

/// A Dispatch without threads: blocks wait until the test runs them, on the test's own thread.
///
/// A block is one asynchronous submission to any queue, one tick or delayed block that has become
/// due, or one answer that has become due (ScriptedHTTPClient submits those here). Blocks run in
/// the order in which they became ready. With a seed other than 0 they run in another order, one
/// that the queues' rules allow: barriers and the main queue keep their order, all others may
/// change it. The same seed gives the same run.
///
/// A synchronous submission runs at once, held or not: first the blocks that were queued before it
/// on the same queue, then its own block; no block of another queue. Destroying a queue runs its
/// pending blocks.
///
/// Only advance() and wait() move time, which stands still while blocks run.
///
/// Threads: asynchronous submissions, timers and readers of the state from any thread. Functions
/// that run blocks (the run functions, advance(), wait(), synchronous submissions, destroying a
/// queue) from one thread at a time. The thread that made the object counts as the main thread.
///
/// Failure: a synchronous submission to the queue whose block is running would wait for ever, so
/// the process stops with a message. The same happens when a block calls one of the run functions
/// or advance().
///
/// Deliberate: a timer with an interval of zero or less ticks once at every instant at which the
/// clock stops, not once a nanosecond.
class TELVORA_EXPORT ManualDispatch final : public Dispatch {
public:
    /// The function of TimerSource that was called.
    enum class TimerAction {
        /// TimerSource::schedule().
        schedule,
        /// TimerSource::suspend().
        suspend,
        /// TimerSource::resume().
        resume,
    };

    /// Called for each call on a timer source, with the interval that the source has then.
    using TimerObserver = std::function<void(TimerAction, std::chrono::nanoseconds interval)>;

    /// `clock` must outlive this object, and only this object may move it.
    explicit ManualDispatch(ManualClock& clock, std::uint64_t seed = 0);
    /// Blocks that have not run are dropped. Queues and timers may live longer: they drop what they
    /// are given, but for synchronous blocks.
    ~ManualDispatch() override;

    std::unique_ptr<DispatchQueue> makeConcurrentQueue(std::string label) override;
    std::unique_ptr<TimerSource> makeTimerSource() override;
    void globalAsyncAfter(std::chrono::nanoseconds delay, Work block) override;
    void mainAsync(Work block) override;
    /// Moves time, as advance() does, at most by `longest`, until the signal is set, no block is
    /// ready and no answer is on its way. Blocks run also while held.
    bool wait(const detail::Signal& signal, std::chrono::nanoseconds longest) override;

    /// Runs `block` outside any queue, `delay` from now. For services whose real implementation
    /// calls back on its own thread.
    void completionAsync(std::chrono::nanoseconds delay, Work block);

    /// Runs `block` at once, as if another thread did so while the caller waits.
    void runOnOtherThread(FunctionRef<void()> block);

    /// Runs the next block, held or not. False when none is ready.
    bool runNext();
    /// The same up to `count` times. Returns how many blocks were run.
    std::size_t step(std::size_t count = 1);
    /// Runs blocks until none is ready, also those that they submit. Does nothing while held.
    void runUntilIdle();

    /// Moves both clocks forward by `step`, stopping at each instant at which a timer, a delayed
    /// block or a delayed answer becomes due, up to and including the last. Due blocks become ready
    /// in the order of their submission. Unless held, all ready blocks run before time moves on.
    void advance(std::chrono::nanoseconds step);

    /// With true, blocks wait from now on; with false, the next run function runs them again.
    void setHold(bool isHeld);
    /// Whether blocks wait.
    bool isHeld() const;

    /// Blocks that are ready and have not run.
    std::size_t readyBlockCount() const;
    /// How many of the ready blocks are barriers.
    std::size_t readyBarrierCount() const;
    /// When the next timer, delayed block or delayed answer becomes due; absent when none waits.
    std::optional<std::chrono::steady_clock::time_point> nextInstant() const;

    /// Whether a block is running, so that the run functions and advance() may not be called.
    bool isRunningBlock() const;

    /// Whether what runs now runs on the main thread: the test's own calls, blocks of the main
    /// queue, and the synchronous blocks of both. False on any other real thread.
    bool isOnMainThread() const;

    /// Replaces the observer of all timer sources; an empty one ends the observation.
    void setTimerObserver(TimerObserver observer);

private:
    friend class SimulatedPlatform;

    // Does what the destructor does.
    void close();

    std::shared_ptr<detail::ManualDispatchCore> m_core;
};

} // namespace telvora
