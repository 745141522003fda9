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

std::size_t ArrivalOrder::waitingCount()
{
    const MutexLock lock(m_lock);
    return m_waiting.size();
}

bool ArrivalOrder::enter()
{
    if (isForkedChild())
        return false;
    const MutexLock lock(m_lock);
    if (m_isTaken) {
        Waiter waiter;
        m_waiting.push_back(&waiter);
        while (!waiter.isNext && !ExitGate::isClosed())
            waiter.change.wait_for(m_lock, exitCheckInterval);
        if (!waiter.isNext) {
            std::erase(m_waiting, &waiter);
            return false;
        }
    }
    m_isTaken = true;
    m_owner.store(std::this_thread::get_id(), std::memory_order_relaxed);
    return true;
}

void ArrivalOrder::leave()
{
    if (isForkedChild())
        return;
    const MutexLock lock(m_lock);
    m_owner.store(std::thread::id(), std::memory_order_relaxed);
    m_isTaken = !m_waiting.empty();
    if (!m_isTaken)
        return;
    Waiter& next = *m_waiting.front();
    m_waiting.erase(m_waiting.begin());
    next.isNext = true;
    // With the lock held: afterwards the waiter may be gone at any time.
    next.change.notify_one();
}

} // namespace telvora::detail
