#include <Telvora/Platform/Linux/LinuxDispatchQueue.h>

#include <Telvora/Platform/Linux/LinuxQueueList.h>
#include <Telvora/Platform/Linux/QueueCore.h>

#include <utility>

namespace telvora {

LinuxDispatchQueue::LinuxDispatchQueue(std::string label, std::shared_ptr<LinuxQueueList> queues)
    : m_core(*new QueueCore)
    , m_queues(std::move(queues))
    , m_label(std::move(label))
{
    m_queues->add(m_core);
}

LinuxDispatchQueue::~LinuxDispatchQueue()
{
    m_queues->remove(m_core);
    QueueCore::retire(&m_core);
}

void LinuxDispatchQueue::async(Work block)
{
    m_core.submit(EntryKind::plain, std::move(block));
}

void LinuxDispatchQueue::barrierAsync(Work block)
{
    m_core.submit(EntryKind::barrier, std::move(block));
}

void LinuxDispatchQueue::makeBarrier(FunctionRef<void(Work&)> make)
{
    m_core.submitMade(EntryKind::barrier, make);
}

void LinuxDispatchQueue::sync(FunctionRef<void()> block)
{
    m_core.sync(block);
}

void LinuxDispatchQueue::barrierSync(FunctionRef<void()> block)
{
    m_core.barrierSync(block);
}

} // namespace telvora
