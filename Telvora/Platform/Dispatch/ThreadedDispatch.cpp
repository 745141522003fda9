#include <Telvora/Platform/Dispatch/ThreadedDispatch.h>

#include <Telvora/Base/HostCall.h>
#include <Telvora/Platform/Dispatch/RunBlock.h>
#include <Telvora/Platform/Dispatch/ThreadedDispatchQueue.h>
#include <Telvora/Platform/Dispatch/ThreadedTimerSource.h>
#include <Telvora/Platform/Dispatch/TimerThread.h>

#include <utility>

namespace telvora {

namespace {

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
    return m_share->pool->isWorker() ? signal.isSet() : signal.waitFor(longest);
}

bool ThreadedDispatch::waitUntilIdle(std::chrono::steady_clock::time_point deadline)
{
    return m_share->pool->waitUntilIdle(deadline);
}

} // namespace telvora
