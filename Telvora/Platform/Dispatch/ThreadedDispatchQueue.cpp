#include <Telvora/Platform/Dispatch/ThreadedDispatchQueue.h>

#include <Telvora/Base/ForkedChild.h>

#include <algorithm>
#include <utility>

namespace telvora::detail {

namespace {

// Blocks that a worker runs before it looks after other queues.
constexpr unsigned mostBlocksInARow = 256;

// A worker that runs fewer blocks than that has caught up with those who submit.
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
    bool isTicketDue = false;
    {
        const BriefLockHolder lock(m_lock);
        m_list.append(make);
        if (!m_ticketHolder) {
            m_ticketHolder = shared_from_this();
            isTicketDue = true;
        }
    }
    if (isTicketDue)
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
        block(); // One of those blocks forked.
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

void QueueCore::finish()
{
    if (m_turn.isOwn())
        return; // What is left runs after the block that asks, which the ticket sees to.
    while (!m_list.isEmpty() && !isForkedChild()) {
        const AloneTurn turn(m_turn);
        runUpTo(m_list.appendedCount());
    }
}

void QueueCore::run() noexcept
{
    unsigned blocksRun = 0;
    // Goes after the turn: it may be the last to hold the queue.
    std::shared_ptr<QueueCore> keptTicket;
    // A thread that waits for the turn runs what is due itself; it goes first.
    if (!m_turn.isAwaited()) {
        const AloneTurn turn(m_turn);
        blocksRun = runSome();
        if (isForkedChild())
            return;
        if (blocksRun == 0)
            keptTicket = keepTicketAtRest();
    }
    if (keptTicket)
        return;
    if (blocksRun < fewBlocks)
        m_share->pool->postAfterNap(*this);
    else
        m_share->pool->post(*this);
}

unsigned QueueCore::runSome()
{
    // Only those that wait now. Following those who submit block by block would have both fight
    // over the same memory.
    const std::uint64_t waiting = m_list.appendedCount() - m_list.removedCount();
    const auto most = static_cast<unsigned>(std::min<std::uint64_t>(waiting, mostBlocksInARow));
    unsigned blocksRun = 0;
    while (blocksRun < most) {
        runFirst();
        ++blocksRun;
        if (isForkedChild() || m_turn.isAwaited())
            break;
    }
    return blocksRun;
}

void QueueCore::runUpTo(std::uint64_t last)
{
    while (m_list.removedCount() < last && !isForkedChild())
        runFirst();
}

void QueueCore::runFirst()
{
    Work& block = m_list.first();
    try {
        block();
    } catch (...) {
        // Nobody waits for the block, so nobody can be told.
    }
    if (!isForkedChild())
        m_list.removeFirst();
}

std::shared_ptr<QueueCore> QueueCore::keepTicketAtRest()
{
    const BriefLockHolder lock(m_lock);
    if (!m_list.isEmpty())
        return nullptr;
    m_list.giveMemoryBack();
    return std::exchange(m_ticketHolder, nullptr);
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
    makeBarrier([&](Work& place) { place = std::move(block); });
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
