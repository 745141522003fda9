#include <Telvora/Platform/Linux/LinuxQueueList.h>

#include <Telvora/Platform/Linux/ForkedChild.h>
#include <Telvora/Platform/Linux/QueueCore.h>
#include <Telvora/Platform/Linux/WorkerPool.h>

#include <algorithm>

namespace telvora {

void LinuxQueueList::add(QueueCore& queue)
{
    if (isForkedChild())
        return;
    MutexLock lock(m_lock);
    m_queues.push_back(&queue);
}

void LinuxQueueList::remove(QueueCore& queue)
{
    if (isForkedChild())
        return;
    MutexLock lock(m_lock);
    const auto place = std::find(m_queues.begin(), m_queues.end(), &queue);
    m_activityOfRemoved += queue.drainsStarted() + 1;
    m_queues.erase(place);
}

std::optional<std::uint64_t> LinuxQueueList::activityAtRest()
{
    if (isForkedChild())
        return 0;
    if (!WorkerPool::shared().isIdle())
        return std::nullopt;
    std::uint64_t activity = WorkerPool::shared().jobsStarted();

    MutexLock lock(m_lock);
    activity += m_activityOfRemoved;
    for (const QueueCore* queue : m_queues) {
        if (!queue->isIdle())
            return std::nullopt;
        activity += queue->drainsStarted();
    }
    return activity;
}

} // namespace telvora
