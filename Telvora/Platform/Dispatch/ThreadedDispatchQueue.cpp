#include <Telvora/Platform/Dispatch/ThreadedDispatchQueue.h>

#include <Telvora/Base/ForkedChild.h>
#include <Telvora/Platform/Dispatch/RunBlock.h>

#include <algorithm>
#include <utility>

namespace telvora::detail {

namespace {

// Blocks that a worker runs before it takes another job.
constexpr unsigned maximumBlocksInARow = 256;

// A worker that found fewer blocks than this is as fast as the submitting threads.
constexpr unsigned fewBlocks = 64;

} // namespace

QueueCore::QueueCore(std::shared_ptr<DispatchShare> share, std::string label)
    : m_share(std::move(share))
    , m_turn(*m_share->pool, std::move(label))
    , m_list(m_share->chunks)
{
}

void QueueCore::submit(FunctionRef<void(Work&)> make)
{
    bool mustSchedule = false;
    {
        const BriefLockHolder lock(m_lock);
        m_list.append(make);
        if (!m_scheduledSelf) {
            m_scheduledSelf = shared_from_this();
            mustSchedule = true;
        }
    }
    if (mustSchedule)
        m_share->pool->post(*this);
}

void QueueCore::runShared(FunctionRef<void()> block)
{
    const std::uint64_t submittedBefore = m_list.appendedCount();
    if (m_list.removedCount() < submittedBefore) {
        const AloneTurn turn(m_turn);
        runUpTo(submittedBefore);
    }
    if (isForkedChild()) {
        block(); // One of the earlier blocks forked, and this is the child.
        return;
    }
    const SharedTurn turn(m_turn);
    block();
}

void QueueCore::runAlone(FunctionRef<void()> block)
{
    const std::uint64_t submittedBefore = m_list.appendedCount();
    const AloneTurn turn(m_turn);
    runUpTo(submittedBefore);
    block();
}

// Another thread may append a block meanwhile. It was not submitted before this one, so it may run
// after it.
bool QueueCore::runIfIdle(Work& block)
{
    if (!m_list.isEmpty() || !m_turn.tryTakeAlone())
        return false;
    const AloneTurn turn(m_turn, AloneTurn::Taken::already);
    if (!m_list.isEmpty())
        return false;
    const AsynchronousBlocks scope;
    runBlock(block);
    return true;
}

void QueueCore::finish()
{
    if (m_turn.isOwn())
        return; // The remaining blocks run after the calling block: the queue is still scheduled.
    while (!m_list.isEmpty() && !isForkedChild()) {
        const AloneTurn turn(m_turn);
        runUpTo(m_list.appendedCount());
    }
}

void QueueCore::run() noexcept
{
    unsigned blocksRun = 0;
    // Declared before the turn: it may be the last owner of this queue, and so of the turn.
    std::shared_ptr<QueueCore> unscheduled;
    // A thread that waits for the turn runs the waiting blocks itself, so it goes first.
    if (!m_turn.isAwaited()) {
        const AloneTurn turn(m_turn);
        blocksRun = runSome();
        if (isForkedChild())
            return;
        if (blocksRun == 0)
            unscheduled = unscheduleIfEmpty();
    }
    if (unscheduled)
        return;
    if (blocksRun < fewBlocks)
        m_share->pool->postDelayed(*this);
    else
        m_share->pool->post(*this);
}

unsigned QueueCore::runSome()
{
    // Not the blocks that arrive meanwhile: the running and the submitting threads would compete
    // for the same cache lines.
    const std::uint64_t waiting = m_list.appendedCount() - m_list.removedCount();
    const auto maximum
        = static_cast<unsigned>(std::min<std::uint64_t>(waiting, maximumBlocksInARow));
    unsigned blocksRun = 0;
    while (blocksRun < maximum) {
        runFirst();
        ++blocksRun;
        if (isForkedChild() || m_turn.isAwaited())
            break;
    }
    return blocksRun;
}

void QueueCore::runUpTo(std::uint64_t last)
{
    const AsynchronousBlocks scope;
    while (m_list.removedCount() < last && !isForkedChild())
        runFirst();
}

void QueueCore::runFirst()
{
    runBlock(m_list.first());
    if (!isForkedChild())
        m_list.removeFirst();
}

std::shared_ptr<QueueCore> QueueCore::unscheduleIfEmpty()
{
    const BriefLockHolder lock(m_lock);
    if (!m_list.isEmpty())
        return nullptr;
    m_list.giveMemoryBack();
    return std::exchange(m_scheduledSelf, nullptr);
}

ThreadedDispatchQueue::ThreadedDispatchQueue(
    std::shared_ptr<DispatchShare> share, std::string label)
    : m_core(std::make_shared<QueueCore>(std::move(share), std::move(label)))
{
}

ThreadedDispatchQueue::~ThreadedDispatchQueue()
{
    m_core->finish();
}

void ThreadedDispatchQueue::barrierAsync(Work block)
{
    makeBarrier([&](Work& work) { work = std::move(block); });
}

void ThreadedDispatchQueue::barrierNowOrLater(Work block)
{
    noteUse();
    // The block may destroy this queue.
    const auto core = m_core;
    if (!isForkedChild() && !core->runIfIdle(block))
        barrierAsync(std::move(block));
}

void ThreadedDispatchQueue::makeBarrier(FunctionRef<void(Work&)> make)
{
    noteUse();
    if (!isForkedChild())
        m_core->submit(make);
}

void ThreadedDispatchQueue::sync(FunctionRef<void()> block)
{
    if (isForkedChild())
        block();
    else
        m_core->runShared(block);
}

void ThreadedDispatchQueue::barrierSync(FunctionRef<void()> block)
{
    if (isForkedChild())
        block();
    else
        m_core->runAlone(block);
}

} // namespace telvora::detail
