#include <Telvora/Platform/Simulated/ManualDispatchCore.h>

#include <Telvora/Base/Fatal.h>

#include <algorithm>
#include <tuple>

namespace telvora::detail {

/// Marks a block as running for the length of a scope.
class ManualDispatchCore::Running {
public:
    Running(ManualDispatchCore& core, Frame frame)
        : m_core(core)
    {
        MutexLock lock(m_core.m_lock);
        count(frame, 1);
        m_core.m_frames.push_back(frame);
    }

    ~Running()
    {
        MutexLock lock(m_core.m_lock);
        count(m_core.m_frames.back(), -1);
        m_core.m_frames.pop_back();
    }

    Running(const Running&) = delete;
    Running& operator=(const Running&) = delete;

private:
    static void count(const Frame& frame, int step)
    {
        if (!frame.queue)
            return;
        frame.queue->runningBlocks += static_cast<std::size_t>(step);
        if (frame.isBarrier)
            frame.queue->runningBarriers += static_cast<std::size_t>(step);
    }

    ManualDispatchCore& m_core;
};

ManualDispatchCore::ManualDispatchCore(ManualClock& clock, std::uint64_t seed)
    : m_clock(clock)
    , m_isSeeded(seed != 0)
    , m_globalQueue(std::make_shared<BlockQueue>(BlockQueue { Order::free, "global" }))
    , m_mainQueue(std::make_shared<BlockQueue>(BlockQueue { Order::serial, "main" }))
    , m_completionQueue(std::make_shared<BlockQueue>(BlockQueue { Order::free, "completions" }))
    , m_random(seed)
{
}

// Submitting

void ManualDispatchCore::submit(const std::shared_ptr<BlockQueue>& queue, Work work)
{
    MutexLock lock(m_lock);
    if (!m_isClosed)
        makeReady(queue, { .work = std::move(work) });
}

void ManualDispatchCore::makeReady(const std::shared_ptr<BlockQueue>& queue, Block block)
{
    block.sequence = m_nextSequence++;
    if (queue->pending.empty())
        m_queuesWithBlocks.push_back(queue);
    queue->pending.push_back(std::move(block));
}

void ManualDispatchCore::runSynchronously(
    BlockQueue& queue, FunctionRef<void()> block, bool isBarrier)
{
    requireNoDeadlock(queue, isBarrier);
    bool isReaderRunning = false;
    Frame frame { .queue = &queue,
        .isBarrier = isBarrier,
        .isSynchronous = true,
        .isOnMainThread = isOnMainThread() };
    {
        MutexLock lock(m_lock);
        isReaderRunning = queue.runningBlocks != 0;
    }
    // If a reader runs here, requireNoDeadlock() has shown that nothing is pending.
    if (!isReaderRunning)
        runPendingBlocks(queue);
    Running running(*this, frame);
    block();
}

void ManualDispatchCore::requireNoDeadlock(const BlockQueue& queue, bool isBarrier) const
{
    MutexLock lock(m_lock);
    if (queue.runningBlocks == 0)
        return;
    if (isInBlockOf(queue) || isBarrier || queue.runningBarriers != 0 || !queue.pending.empty())
        fatal("A block of the queue \"" + queue.label + "\" waits for its own queue",
            "ManualDispatch");
}

bool ManualDispatchCore::isInBlockOf(const BlockQueue& queue) const
{
    for (auto frame = m_frames.rbegin(); frame != m_frames.rend(); ++frame) {
        if (frame->queue == &queue)
            return true;
        if (!frame->isSynchronous)
            return false;
    }
    return false;
}

void ManualDispatchCore::runOnOtherThread(FunctionRef<void()> block)
{
    Running running(*this, {});
    block();
}

// Running

void ManualDispatchCore::run(BlockQueue& queue, Block block)
{
    Running running(*this,
        { .queue = &queue,
            .isBarrier = queue.hasBarriers,
            .isOnMainThread = &queue == m_mainQueue.get() });
    try {
        block.work();
    } catch (...) {
        // Nobody can catch it, so it is dropped.
    }
    // What the block captured is destroyed while the block still counts as running.
    block.work.reset();
}

void ManualDispatchCore::runPendingBlocks(BlockQueue& queue)
{
    while (auto block = take(queue))
        run(queue, std::move(*block));
}

void ManualDispatchCore::runPendingBlocksUnlessOwn(BlockQueue& queue)
{
    {
        MutexLock lock(m_lock);
        const bool isOwn = std::ranges::any_of(
            m_frames, [&](const Frame& frame) { return frame.queue == &queue; });
        if (isOwn)
            return;
    }
    runPendingBlocks(queue);
}

bool ManualDispatchCore::runNext()
{
    requireNoRunningBlock("runNext");
    std::shared_ptr<BlockQueue> queue;
    Block block;
    {
        MutexLock lock(m_lock);
        if (m_queuesWithBlocks.empty())
            return false;
        std::size_t index = 0;
        std::tie(queue, index) = m_isSeeded ? chooseAny() : choose();
        block = takeAt(*queue, index);
    }
    run(*queue, std::move(block));
    return true;
}

void ManualDispatchCore::runUntilIdle()
{
    requireNoRunningBlock("runUntilIdle");
    while (!isHeld() && runNext()) { }
}

void ManualDispatchCore::requireNoRunningBlock(const char* operation) const
{
    if (isRunningBlock())
        fatal(std::string(operation) + " was called from a block", "ManualDispatch");
}

// How many of the first pending blocks may run next, in any order.
static std::size_t runnable(const ManualDispatchCore::BlockQueue& queue)
{
    return queue.order == ManualDispatchCore::Order::serial ? 1 : queue.pending.size();
}

std::pair<std::shared_ptr<ManualDispatchCore::BlockQueue>, std::size_t> ManualDispatchCore::choose()
{
    auto oldest = std::min_element(m_queuesWithBlocks.begin(), m_queuesWithBlocks.end(),
        [](const auto& one, const auto& other) {
            return one->pending.front().sequence < other->pending.front().sequence;
        });
    return { *oldest, 0 };
}

std::pair<std::shared_ptr<ManualDispatchCore::BlockQueue>, std::size_t>
ManualDispatchCore::chooseAny()
{
    std::size_t count = 0;
    for (const auto& queue : m_queuesWithBlocks)
        count += runnable(*queue);
    std::size_t chosen = m_random.next() % count;
    for (const auto& queue : m_queuesWithBlocks) {
        const std::size_t ofQueue = runnable(*queue);
        if (chosen < ofQueue)
            return { queue, chosen };
        chosen -= ofQueue;
    }
    return { m_queuesWithBlocks.front(), 0 };
}

std::optional<ManualDispatchCore::Block> ManualDispatchCore::take(BlockQueue& queue)
{
    MutexLock lock(m_lock);
    if (queue.pending.empty())
        return std::nullopt;
    return takeAt(queue, m_isSeeded ? m_random.next() % runnable(queue) : 0);
}

ManualDispatchCore::Block ManualDispatchCore::takeAt(BlockQueue& queue, std::size_t index)
{
    auto position = queue.pending.begin() + static_cast<std::ptrdiff_t>(index);
    if (m_isSeeded) {
        // Any order of the rest is allowed, and removing the first is cheapest.
        std::iter_swap(queue.pending.begin(), position);
        position = queue.pending.begin();
    }
    Block block = std::move(*position);
    queue.pending.erase(position);
    if (queue.pending.empty())
        std::erase_if(
            m_queuesWithBlocks, [&](const auto& active) { return active.get() == &queue; });
    return block;
}

void ManualDispatchCore::close()
{
    // A vector would have to copy what it holds as it grows, because moving a deque may throw.
    std::deque<std::deque<Block>> dropped;
    decltype(m_waiting) waiting;
    m_timerObserver.set({});
    MutexLock lock(m_lock);
    m_isClosed = true;
    for (const auto& queue : m_queuesWithBlocks)
        dropped.push_back(std::exchange(queue->pending, {}));
    m_queuesWithBlocks.clear();
    m_incessantTimers.clear();
    waiting.swap(m_waiting);
}

// State

void ManualDispatchCore::setHold(bool isHeld)
{
    MutexLock lock(m_lock);
    m_isHeld = isHeld;
}

bool ManualDispatchCore::isHeld() const
{
    MutexLock lock(m_lock);
    return m_isHeld;
}

std::size_t ManualDispatchCore::readyBlockCount(bool onlyBarriers) const
{
    MutexLock lock(m_lock);
    std::size_t count = 0;
    for (const auto& queue : m_queuesWithBlocks)
        count += onlyBarriers && !queue->hasBarriers ? 0 : queue->pending.size();
    return count;
}

std::size_t ManualDispatchCore::pendingCount(const BlockQueue& queue) const
{
    MutexLock lock(m_lock);
    return queue.pending.size();
}

bool ManualDispatchCore::isRunningBlock() const
{
    MutexLock lock(m_lock);
    return !m_frames.empty();
}

bool ManualDispatchCore::isOnMainThread() const
{
    if (std::this_thread::get_id() != m_drivingThread)
        return false;
    MutexLock lock(m_lock);
    return m_frames.empty() || m_frames.back().isOnMainThread;
}

} // namespace telvora::detail
