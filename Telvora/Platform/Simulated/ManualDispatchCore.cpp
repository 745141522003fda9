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
        if (!frame.lane)
            return;
        frame.lane->runningBlocks += static_cast<std::size_t>(step);
        if (frame.isBarrier)
            frame.lane->runningBarriers += static_cast<std::size_t>(step);
    }

    ManualDispatchCore& m_core;
};

ManualDispatchCore::ManualDispatchCore(ManualClock& clock, std::uint64_t seed)
    : m_clock(clock)
    , m_isSeeded(seed != 0)
    , m_globalLane(std::make_shared<Lane>(Lane { Order::free, "global" }))
    , m_mainLane(std::make_shared<Lane>(Lane { Order::serial, "main" }))
    , m_completionLane(std::make_shared<Lane>(Lane { Order::free, "completions" }))
    , m_random(seed)
{
}

// Submitting

void ManualDispatchCore::submit(const std::shared_ptr<Lane>& lane, Work work)
{
    MutexLock lock(m_lock);
    makeReady(lane, { .work = std::move(work) });
}

void ManualDispatchCore::makeReady(const std::shared_ptr<Lane>& lane, Block block)
{
    block.sequence = m_nextSequence++;
    if (lane->pending.empty())
        m_activeLanes.push_back(lane);
    lane->pending.push_back(std::move(block));
}

void ManualDispatchCore::runSynchronously(Lane& lane, FunctionRef<void()> block, bool isBarrier)
{
    requireNoDeadlock(lane, isBarrier);
    bool isBesideOthers = false;
    Frame frame { .lane = &lane,
        .isBarrier = isBarrier,
        .isSynchronous = true,
        .isOnMainThread = isOnMainThread() };
    {
        MutexLock lock(m_lock);
        isBesideOthers = lane.runningBlocks != 0;
    }
    // Beside a running reader nothing is pending.
    if (!isBesideOthers)
        drain(lane);
    Running running(*this, frame);
    block();
}

void ManualDispatchCore::requireNoDeadlock(const Lane& lane, bool isBarrier) const
{
    MutexLock lock(m_lock);
    if (lane.runningBlocks == 0)
        return;
    if (isInBlockOf(lane) || isBarrier || lane.runningBarriers != 0 || !lane.pending.empty())
        fatal("A block of the queue \"" + lane.label + "\" waits for its own queue",
            "ManualDispatch");
}

bool ManualDispatchCore::isInBlockOf(const Lane& lane) const
{
    for (auto frame = m_frames.rbegin(); frame != m_frames.rend(); ++frame) {
        if (frame->lane == &lane)
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

void ManualDispatchCore::run(Lane& lane, Block block)
{
    Running running(*this,
        { .lane = &lane, .isBarrier = lane.isQueue, .isOnMainThread = &lane == m_mainLane.get() });
    try {
        block.work();
    } catch (...) {
        // As on a real thread: no caller waits for the block, so the exception has no receiver.
    }
    // What the block captured is destroyed while the block still counts as running.
    block.work.reset();
}

void ManualDispatchCore::drain(Lane& lane)
{
    while (auto block = take(lane))
        run(lane, std::move(*block));
}

void ManualDispatchCore::drainUnlessOwn(Lane& lane)
{
    {
        MutexLock lock(m_lock);
        const bool isOwn = std::any_of(m_frames.begin(), m_frames.end(),
            [&](const Frame& frame) { return frame.lane == &lane; });
        if (isOwn)
            return;
    }
    drain(lane);
}

bool ManualDispatchCore::runNext()
{
    requireNoRunningBlock("runNext");
    std::shared_ptr<Lane> lane;
    Block block;
    {
        MutexLock lock(m_lock);
        if (m_activeLanes.empty())
            return false;
        std::size_t index = 0;
        std::tie(lane, index) = m_isSeeded ? chooseAny() : choose();
        block = takeAt(*lane, index);
    }
    run(*lane, std::move(block));
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

// How many blocks at the head of the lane may run next, in any order.
static std::size_t runnable(const ManualDispatchCore::Lane& lane)
{
    return lane.order == ManualDispatchCore::Order::serial ? 1 : lane.pending.size();
}

std::pair<std::shared_ptr<ManualDispatchCore::Lane>, std::size_t> ManualDispatchCore::choose()
{
    auto oldest = std::min_element(
        m_activeLanes.begin(), m_activeLanes.end(), [](const auto& one, const auto& other) {
            return one->pending.front().sequence < other->pending.front().sequence;
        });
    return { *oldest, 0 };
}

std::pair<std::shared_ptr<ManualDispatchCore::Lane>, std::size_t> ManualDispatchCore::chooseAny()
{
    std::size_t count = 0;
    for (const auto& lane : m_activeLanes)
        count += runnable(*lane);
    std::size_t chosen = m_random.next() % count;
    for (const auto& lane : m_activeLanes) {
        const std::size_t ofLane = runnable(*lane);
        if (chosen < ofLane)
            return { lane, chosen };
        chosen -= ofLane;
    }
    return { m_activeLanes.front(), 0 };
}

std::optional<ManualDispatchCore::Block> ManualDispatchCore::take(Lane& lane)
{
    MutexLock lock(m_lock);
    if (lane.pending.empty())
        return std::nullopt;
    return takeAt(lane, m_isSeeded ? m_random.next() % runnable(lane) : 0);
}

ManualDispatchCore::Block ManualDispatchCore::takeAt(Lane& lane, std::size_t index)
{
    auto position = lane.pending.begin() + static_cast<std::ptrdiff_t>(index);
    if (m_isSeeded) {
        // Those before it may change places, and the first costs nothing to take out.
        std::iter_swap(lane.pending.begin(), position);
        position = lane.pending.begin();
    }
    Block block = std::move(*position);
    lane.pending.erase(position);
    if (lane.pending.empty())
        std::erase_if(m_activeLanes, [&](const auto& active) { return active.get() == &lane; });
    return block;
}

void ManualDispatchCore::clear()
{
    std::vector<std::deque<Block>> dropped;
    decltype(m_waiting) waiting;
    MutexLock lock(m_lock);
    for (const auto& lane : m_activeLanes)
        dropped.push_back(std::exchange(lane->pending, {}));
    m_activeLanes.clear();
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
    for (const auto& lane : m_activeLanes)
        count += onlyBarriers && !lane->isQueue ? 0 : lane->pending.size();
    return count;
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
