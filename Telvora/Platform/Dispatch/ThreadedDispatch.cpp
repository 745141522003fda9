#include <Telvora/Platform/Dispatch/ThreadedDispatch.h>

#include <Telvora/Base/ExitGate.h>
#include <Telvora/Base/HostCall.h>
#include <Telvora/Platform/Dispatch/RunBlock.h>
#include <Telvora/Platform/Dispatch/ThreadedDispatchQueue.h>
#include <Telvora/Platform/Dispatch/ThreadedTimerSource.h>
#include <Telvora/Platform/Dispatch/TimerThread.h>

#include <algorithm>
#include <utility>

namespace telvora {

namespace {

// How long exit() may wait for a thread that waits in wait().
constexpr std::chrono::milliseconds longestBlindWait { 50 };

// A deadline that posts its block to the pool.
class DelayedBlock final : public detail::Deadline,
                           public detail::Job,
                           public std::enable_shared_from_this<DelayedBlock> {
public:
    DelayedBlock(std::shared_ptr<detail::WorkerPool> pool, Work block)
        : m_pool(std::move(pool))
        , m_block(std::move(block))
    {
    }

    void expire() noexcept override
    {
        m_self = shared_from_this();
        m_pool->post(*this);
    }

    void run() noexcept override
    {
        const auto self = std::move(m_self);
        detail::runBlock(m_block);
    }

private:
    const std::shared_ptr<detail::WorkerPool> m_pool;
    Work m_block;
    std::shared_ptr<DelayedBlock> m_self;
};

} // namespace

ThreadedDispatch::ThreadedDispatch(StartThread startThread, MainExecutor mainExecutor)
    : m_share(std::make_shared<detail::DispatchShare>(startThread))
    , m_timers(std::make_shared<detail::TimerThread>(startThread))
    , m_mainExecutor(std::move(mainExecutor))
{
    if (m_mainExecutor)
        detail::noteHostClosure();
}

ThreadedDispatch::~ThreadedDispatch()
{
    m_timers->retire();
    m_share->pool->retire();
}

std::unique_ptr<DispatchQueue> ThreadedDispatch::makeConcurrentQueue(std::string label)
{
    return std::make_unique<detail::ThreadedDispatchQueue>(m_share, std::move(label));
}

std::unique_ptr<TimerSource> ThreadedDispatch::makeTimerSource()
{
    return std::make_unique<detail::ThreadedTimerSource>(m_timers, m_share->pool);
}

void ThreadedDispatch::globalAsyncAfter(std::chrono::nanoseconds delay, Work block)
{
    if (delay <= std::chrono::nanoseconds(0)) {
        m_share->pool->post(std::move(block));
        return;
    }
    m_timers->arm(std::make_shared<DelayedBlock>(m_share->pool, std::move(block)),
        detail::steadyTimeAfter(delay));
}

void ThreadedDispatch::mainAsync(Work block)
{
    if (m_mainExecutor)
        detail::callHost([&] { m_mainExecutor(std::move(block)); }, { "The main executor" });
    else
        m_share->pool->post(std::move(block));
}

bool ThreadedDispatch::wait(const detail::Signal& signal, std::chrono::nanoseconds longest)
{
    if (m_share->pool->isWorker())
        return signal.isSet();
    if (!detail::ExitGate::isInside())
        return signal.waitFor(longest);
    // exit() waits for the closure that the caller is in, perhaps on the thread that would set the
    // signal.
    const auto end = detail::steadyTimeAfter(longest);
    for (;;) {
        const std::chrono::nanoseconds left = end - std::chrono::steady_clock::now();
        if (signal.waitFor(std::min<std::chrono::nanoseconds>(left, longestBlindWait)))
            return true;
        if (left <= longestBlindWait || detail::ExitGate::isClosed())
            return false;
    }
}

bool ThreadedDispatch::waitUntilIdle(std::chrono::steady_clock::time_point deadline)
{
    return m_share->pool->waitUntilIdle(deadline);
}

} // namespace telvora
