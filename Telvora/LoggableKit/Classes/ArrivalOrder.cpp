#include <Telvora/LoggableKit/Classes/ArrivalOrder.h>

#include <Telvora/Base/ExitGate.h>

#include <chrono>

namespace telvora::detail {

namespace {

// How often a waiting thread looks whether exit() has begun. Nothing wakes it for that.
constexpr std::chrono::milliseconds exitCheckInterval { 10 };

} // namespace

ArrivalOrder::Place::Place(ArrivalOrder& order)
    : m_order(order)
    , m_isNested(order.m_owner.load(std::memory_order_relaxed) == std::this_thread::get_id())
    , m_isInside(m_isNested || order.enter())
{
}

ArrivalOrder::Place::~Place()
{
    if (m_isInside && !m_isNested)
        m_order.leave();
}

unsigned ArrivalOrder::waitingCount()
{
    const MutexLock lock(m_lock);
    return m_waiting;
}

bool ArrivalOrder::enter()
{
    if (isForkedChild())
        return false;
    const MutexLock lock(m_lock);
    const std::uint64_t place = m_arrived++;
    ++m_waiting;
    // A thread that gives up keeps its place: all that arrive later give up as well.
    while (m_inside != place && !ExitGate::isClosed())
        m_change.wait_for(m_lock, exitCheckInterval);
    --m_waiting;
    if (m_inside != place)
        return false;
    // Only the owner compares it with itself, so no other order is needed.
    m_owner.store(std::this_thread::get_id(), std::memory_order_relaxed);
    return true;
}

void ArrivalOrder::leave()
{
    if (isForkedChild())
        return;
    const MutexLock lock(m_lock);
    m_owner.store(std::thread::id(), std::memory_order_relaxed);
    ++m_inside;
    if (m_waiting > 0)
        m_change.notify_all();
}

} // namespace telvora::detail
