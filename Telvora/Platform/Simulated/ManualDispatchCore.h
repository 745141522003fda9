#pragma once

#include <Telvora/Base/Mutex.h>
#include <Telvora/Base/Signal.h>
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

    /// Whether the blocks of a queue may change places with one another.
    enum class Order {
        serial,
        free,
    };

    struct Timer;

    struct Block {
        std::uint64_t sequence = 0;
        Work work;
        // The timer of a tick. Only compared.
        const Timer* timer = nullptr;
    };

    /// Blocks with one order among them: those of a queue, of the main queue, of the global queue,
    /// or the answers.
    struct BlockQueue {
        Order order = Order::serial;
        std::string label;
        /// Whether its asynchronous blocks are barriers: those of a DispatchQueue are.
        bool hasBarriers = false;
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

    const std::shared_ptr<BlockQueue>& globalQueue() const { return m_globalQueue; }
    const std::shared_ptr<BlockQueue>& mainQueue() const { return m_mainQueue; }
    const std::shared_ptr<BlockQueue>& completionQueue() const { return m_completionQueue; }

    void submit(const std::shared_ptr<BlockQueue>& queue, Work work);
    void submitAfter(
        const std::shared_ptr<BlockQueue>& queue, std::chrono::nanoseconds delay, Work work);
    void runSynchronously(BlockQueue& queue, FunctionRef<void()> block, bool isBarrier);
    void runOnOtherThread(FunctionRef<void()> block);
    /// Runs all that is pending on the queue. Requires: no block of it is running.
    void runPendingBlocks(BlockQueue& queue);
    /// The same, but a call from a block of the queue leaves the other blocks pending.
    void runPendingBlocksUnlessOwn(BlockQueue& queue);

    bool runNext();
    void runUntilIdle();
    void advance(std::chrono::nanoseconds step);
    bool wait(const Signal& signal, std::chrono::nanoseconds longest);
    /// Drops every block, and every one that comes from now on; synchronous blocks still run.
    /// Timers tick no more.
    void close();

    void setHold(bool isHeld);
    bool isHeld() const;
    std::size_t readyBlockCount(bool onlyBarriers) const;
    std::size_t pendingCount(const BlockQueue& queue) const;
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
    // What waits for its time: a delayed block on its way to a queue, or a timer.
    struct Waiting {
        std::shared_ptr<BlockQueue> queue;
        Work work {};
        std::shared_ptr<Timer> timer {};
    };

    struct Frame {
        BlockQueue* queue = nullptr;
        bool isBarrier = false;
        // Runs inside the block of the frame before it, on the same thread.
        bool isSynchronous = false;
        bool isOnMainThread = false;
    };

    class Running;

    void requireNoRunningBlock(const char* operation) const;
    void requireNoDeadlock(const BlockQueue& queue, bool isBarrier) const;
    // Whether a synchronous submission to `queue` would come from a block of it.
    bool isInBlockOf(const BlockQueue& queue) const TELVORA_REQUIRES(m_lock);
    void run(BlockQueue& queue, Block block);
    std::optional<Block> take(BlockQueue& queue);
    bool reachNextInstant(Instant last);
    bool isAnswerOnItsWay() const;

    void makeReady(const std::shared_ptr<BlockQueue>& queue, Block block) TELVORA_REQUIRES(m_lock);
    void makeTickReady(const std::shared_ptr<Timer>& timer) TELVORA_REQUIRES(m_lock);
    void dropTick(Timer& timer) TELVORA_REQUIRES(m_lock);
    void stopWaiting(Timer& timer) TELVORA_REQUIRES(m_lock);
    void fireDue(Instant now) TELVORA_REQUIRES(m_lock);
    Block takeAt(BlockQueue& queue, std::size_t index) TELVORA_REQUIRES(m_lock);
    std::pair<std::shared_ptr<BlockQueue>, std::size_t> choose() TELVORA_REQUIRES(m_lock);
    std::pair<std::shared_ptr<BlockQueue>, std::size_t> chooseAny() TELVORA_REQUIRES(m_lock);

    ManualClock& m_clock;
    const std::thread::id m_drivingThread = std::this_thread::get_id();
    const bool m_isSeeded;
    const std::shared_ptr<BlockQueue> m_globalQueue;
    const std::shared_ptr<BlockQueue> m_mainQueue;
    const std::shared_ptr<BlockQueue> m_completionQueue;
    Observer<ManualDispatch::TimerAction, std::chrono::nanoseconds> m_timerObserver;

    mutable Mutex m_lock;
    Random m_random TELVORA_GUARDED_BY(m_lock);
    bool m_isHeld TELVORA_GUARDED_BY(m_lock) = false;
    bool m_isClosed TELVORA_GUARDED_BY(m_lock) = false;
    std::uint64_t m_nextSequence TELVORA_GUARDED_BY(m_lock) = 1;
    // Queues with pending blocks.
    std::vector<std::shared_ptr<BlockQueue>> m_queuesWithBlocks TELVORA_GUARDED_BY(m_lock);
    // By instant, then in the order in which it was asked for.
    std::map<std::pair<Instant, std::uint64_t>, Waiting> m_waiting TELVORA_GUARDED_BY(m_lock);
    // Timers that tick whenever the clock stops.
    std::vector<std::shared_ptr<Timer>> m_incessantTimers TELVORA_GUARDED_BY(m_lock);
    // Innermost last.
    std::vector<Frame> m_frames TELVORA_GUARDED_BY(m_lock);
};

} // namespace telvora::detail
