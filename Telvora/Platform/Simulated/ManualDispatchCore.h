#pragma once

#include <Telvora/Base/Mutex.h>
#include <Telvora/Base/Work.h>
#include <Telvora/Platform/Simulated/ManualClock.h>
#include <Telvora/Platform/Simulated/ManualDispatch.h>
#include <Telvora/Platform/Simulated/Observer.h>
#include <Telvora/Platform/Simulated/Random.h>

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <thread>
#include <utility>
#include <vector>

namespace telvora::detail {

/// What the queues and timers of one ManualDispatch share: the blocks that are ready, those that
/// wait for their time, and what is running. Outlives the ManualDispatch as long as one of its
/// queues or timers does.
///
/// Threads: as ManualDispatch says. m_lock is never held while a block or an observer runs.
class ManualDispatchCore {
public:
    using Instant = std::chrono::steady_clock::time_point;

    /// Whether the blocks of a lane may change places with one another.
    enum class Order {
        serial,
        free,
    };

    struct Timer;

    struct Block {
        std::uint64_t sequence = 0;
        Work work;
        // Of a tick: whose. Only compared.
        const Timer* timer = nullptr;
    };

    /// Blocks that know of one another's order: a queue, the main queue, the answers.
    struct Lane {
        Order order = Order::serial;
        std::string label;
        /// Of a queue that the library made: its asynchronous blocks are barriers.
        bool isQueue = false;
        std::deque<Block> pending {};
        std::size_t runningBlocks = 0;
        std::size_t runningBarriers = 0;
    };

    /// Everything but `handler` is guarded by the core's lock, and so is which handler it is.
    struct Timer {
        std::chrono::nanoseconds interval { 0 };
        std::uint64_t sequence = 0;
        std::optional<Instant> deadline {};
        std::size_t suspendCount = 1;
        bool isTickReady = false;
        bool hasMissedTick = false;
        std::shared_ptr<const std::function<void()>> handler {};
    };

    ManualDispatchCore(ManualClock& clock, std::uint64_t seed);

    const std::shared_ptr<Lane>& globalLane() const { return m_globalLane; }
    const std::shared_ptr<Lane>& mainLane() const { return m_mainLane; }
    const std::shared_ptr<Lane>& completionLane() const { return m_completionLane; }

    void submit(const std::shared_ptr<Lane>& lane, Work work);
    void submitAfter(const std::shared_ptr<Lane>& lane, std::chrono::nanoseconds delay, Work work);
    void runSynchronously(Lane& lane, FunctionRef<void()> block, bool isBarrier);
    void runOnOtherThread(FunctionRef<void()> block);
    /// Runs all that is pending on the lane. Requires: no block of it is running.
    void drain(Lane& lane);
    /// The same; where it is a block of the lane that asks, the rest stays pending instead.
    void drainUnlessOwn(Lane& lane);

    bool runNext();
    void runUntilIdle();
    void advance(std::chrono::nanoseconds step);
    /// Drops every block.
    void clear();

    void setHold(bool isHeld);
    bool isHeld() const;
    std::size_t readyBlockCount(bool onlyBarriers) const;
    std::optional<Instant> nextInstant() const;
    bool isRunningBlock() const;
    bool isOnMainThread() const;

    void schedule(const std::shared_ptr<Timer>& timer, std::chrono::nanoseconds interval);
    void setHandler(Timer& timer, std::function<void()> handler);
    void suspend(Timer& timer);
    void resume(const std::shared_ptr<Timer>& timer);
    void remove(Timer& timer);

    Observer<ManualDispatch::TimerAction, std::chrono::nanoseconds>& timerObserver()
    {
        return m_timerObserver;
    }

private:
    // What waits for its time: a delayed block on its way to a lane, or a timer.
    struct Waiting {
        std::shared_ptr<Lane> lane;
        Work work {};
        std::shared_ptr<Timer> timer {};
    };

    struct Frame {
        Lane* lane = nullptr;
        bool isBarrier = false;
        // Runs inside the block of the frame before it, on the same thread.
        bool isSynchronous = false;
        bool isOnMainThread = false;
    };

    class Running;

    void requireNoRunningBlock(const char* operation) const;
    void requireNoDeadlock(const Lane& lane, bool isBarrier) const;
    // Whether a synchronous submission to `lane` would come from a block of it.
    bool isInBlockOf(const Lane& lane) const TELVORA_REQUIRES(m_lock);
    void run(Lane& lane, Block block);
    std::optional<Block> take(Lane& lane);
    bool reachNextInstant(Instant last);

    void makeReady(const std::shared_ptr<Lane>& lane, Block block) TELVORA_REQUIRES(m_lock);
    void makeTickReady(const std::shared_ptr<Timer>& timer) TELVORA_REQUIRES(m_lock);
    void dropTick(Timer& timer) TELVORA_REQUIRES(m_lock);
    void stopWaiting(Timer& timer) TELVORA_REQUIRES(m_lock);
    void fireDue(Instant now) TELVORA_REQUIRES(m_lock);
    Block takeAt(Lane& lane, std::size_t index) TELVORA_REQUIRES(m_lock);
    std::pair<std::shared_ptr<Lane>, std::size_t> choose() TELVORA_REQUIRES(m_lock);
    std::pair<std::shared_ptr<Lane>, std::size_t> chooseAny() TELVORA_REQUIRES(m_lock);

    ManualClock& m_clock;
    const std::thread::id m_drivingThread = std::this_thread::get_id();
    const bool m_isSeeded;
    const std::shared_ptr<Lane> m_globalLane;
    const std::shared_ptr<Lane> m_mainLane;
    const std::shared_ptr<Lane> m_completionLane;
    Observer<ManualDispatch::TimerAction, std::chrono::nanoseconds> m_timerObserver;

    mutable Mutex m_lock;
    Random m_random TELVORA_GUARDED_BY(m_lock);
    bool m_isHeld TELVORA_GUARDED_BY(m_lock) = false;
    std::uint64_t m_nextSequence TELVORA_GUARDED_BY(m_lock) = 1;
    // Lanes with a block pending.
    std::vector<std::shared_ptr<Lane>> m_activeLanes TELVORA_GUARDED_BY(m_lock);
    // By instant, then in the order in which it was asked for.
    std::map<std::pair<Instant, std::uint64_t>, Waiting> m_waiting TELVORA_GUARDED_BY(m_lock);
    // Timers that tick whenever the clock stops.
    std::vector<std::shared_ptr<Timer>> m_incessantTimers TELVORA_GUARDED_BY(m_lock);
    // Innermost last.
    std::vector<Frame> m_frames TELVORA_GUARDED_BY(m_lock);
};

} // namespace telvora::detail
