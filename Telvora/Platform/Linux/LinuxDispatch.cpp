#include <Telvora/Platform/Linux/LinuxDispatch.h>

#include <Telvora/Platform/Linux/Futex.h>
#include <Telvora/Platform/Linux/GlobalQueue.h>
#include <Telvora/Platform/Linux/LinuxDispatchQueue.h>
#include <Telvora/Platform/Linux/LinuxQueueList.h>
#include <Telvora/Platform/Linux/LinuxTimerSource.h>
#include <Telvora/Platform/Linux/TimerThread.h>
#include <Telvora/Platform/Linux/WorkerPool.h>

#include <utility>

namespace telvora {

LinuxDispatch::LinuxDispatch(MainExecutor mainExecutor)
    : m_queues(std::make_shared<LinuxQueueList>())
    , m_mainExecutor(std::move(mainExecutor))
{
}

LinuxDispatch::~LinuxDispatch() = default;

std::unique_ptr<DispatchQueue> LinuxDispatch::makeConcurrentQueue(std::string label)
{
    return std::make_unique<LinuxDispatchQueue>(std::move(label), m_queues);
}

std::unique_ptr<TimerSource> LinuxDispatch::makeTimerSource()
{
    return std::make_unique<LinuxTimerSource>();
}

void LinuxDispatch::globalAsync(Work block)
{
    submitGlobally(std::move(block));
}

void LinuxDispatch::globalAsyncAfter(std::chrono::nanoseconds delay, Work block)
{
    TimerThread::shared().arm(steadyTimeAfter(delay),
        [work = std::move(block)]() mutable { submitGlobally(std::move(work)); });
}

void LinuxDispatch::mainAsync(Work block)
{
    if (m_mainExecutor)
        m_mainExecutor(std::move(block));
    else
        submitGlobally(std::move(block));
}

bool LinuxDispatch::waitUntilIdle(std::chrono::steady_clock::time_point deadline)
{
    using namespace std::chrono_literals;
    const FutexWord nobodyWakes { 0 };
    for (auto pause = 50us;; pause = 1000us) {
        // At rest twice and nothing run in between: nothing can have slipped from a queue that
        // was looked at later to one that was looked at before.
        const auto activity = m_queues->activityAtRest();
        if (activity && activity == m_queues->activityAtRest())
            return true;
        if (std::chrono::steady_clock::now() >= deadline)
            return false;
        WorkerPool::shared().endNap();
        futexWaitUntil(nobodyWakes, 0, std::chrono::steady_clock::now() + pause);
    }
}

} // namespace telvora
