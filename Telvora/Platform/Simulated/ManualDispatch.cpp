#include <Telvora/Platform/Simulated/ManualDispatch.h>

#include <Telvora/Platform/Simulated/ManualDispatchCore.h>
#include <Telvora/Platform/Simulated/ManualTimerSource.h>

namespace telvora {

namespace {

class ManualDispatchQueue final : public DispatchQueue {
public:
    using Core = detail::ManualDispatchCore;

    ManualDispatchQueue(std::shared_ptr<Core> core, std::string label)
        : m_core(std::move(core))
        , m_queue(std::make_shared<Core::BlockQueue>(
              Core::BlockQueue { Core::Order::serial, std::move(label), true }))
    {
    }

    ~ManualDispatchQueue() override { m_core->runPendingBlocksUnlessOwn(*m_queue); }

    void barrierAsync(Work block) override { m_core->submit(m_queue, std::move(block)); }
    void sync(FunctionRef<void()> block) override
    {
        m_core->runSynchronously(*m_queue, block, false);
    }
    void barrierSync(FunctionRef<void()> block) override
    {
        m_core->runSynchronously(*m_queue, block, true);
    }
    std::size_t blocksBehind() const override { return m_core->pendingCount(*m_queue); }

private:
    const std::shared_ptr<Core> m_core;
    const std::shared_ptr<Core::BlockQueue> m_queue;
};

} // namespace

ManualDispatch::ManualDispatch(ManualClock& clock, std::uint64_t seed)
    : m_core(std::make_shared<detail::ManualDispatchCore>(clock, seed))
{
}

ManualDispatch::~ManualDispatch()
{
    close();
}

void ManualDispatch::close()
{
    m_core->close();
}

std::unique_ptr<DispatchQueue> ManualDispatch::makeConcurrentQueue(std::string label)
{
    return std::make_unique<ManualDispatchQueue>(m_core, std::move(label));
}

std::unique_ptr<TimerSource> ManualDispatch::makeTimerSource()
{
    return std::make_unique<detail::ManualTimerSource>(m_core);
}

void ManualDispatch::globalAsyncAfter(std::chrono::nanoseconds delay, Work block)
{
    m_core->submitAfter(m_core->globalQueue(), delay, std::move(block));
}

void ManualDispatch::mainAsync(Work block)
{
    m_core->submit(m_core->mainQueue(), std::move(block));
}

bool ManualDispatch::wait(const detail::Signal& signal, std::chrono::nanoseconds longest)
{
    return m_core->wait(signal, longest);
}

void ManualDispatch::completionAsync(std::chrono::nanoseconds delay, Work block)
{
    m_core->submitAfter(m_core->completionQueue(), delay, std::move(block));
}

void ManualDispatch::runOnOtherThread(FunctionRef<void()> block)
{
    m_core->runOnOtherThread(block);
}

bool ManualDispatch::runNext()
{
    return m_core->runNext();
}

std::size_t ManualDispatch::step(std::size_t count)
{
    std::size_t run = 0;
    while (run < count && m_core->runNext())
        ++run;
    return run;
}

void ManualDispatch::runUntilIdle()
{
    m_core->runUntilIdle();
}

void ManualDispatch::advance(std::chrono::nanoseconds step)
{
    m_core->advance(step);
}

void ManualDispatch::setHold(bool isHeld)
{
    m_core->setHold(isHeld);
}

bool ManualDispatch::isHeld() const
{
    return m_core->isHeld();
}

std::size_t ManualDispatch::readyBlockCount() const
{
    return m_core->readyBlockCount(false);
}

std::size_t ManualDispatch::readyBarrierCount() const
{
    return m_core->readyBlockCount(true);
}

std::optional<std::chrono::steady_clock::time_point> ManualDispatch::nextInstant() const
{
    return m_core->nextInstant();
}

bool ManualDispatch::isRunningBlock() const
{
    return m_core->isRunningBlock();
}

bool ManualDispatch::isOnMainThread() const
{
    return m_core->isOnMainThread();
}

void ManualDispatch::setTimerObserver(TimerObserver observer)
{
    m_core->timerObserver().set(std::move(observer));
}

} // namespace telvora
