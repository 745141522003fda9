#include <Telvora/Base/ForkedChild.h>

#include <Telvora/Base/ExitGate.h>

#include <cstddef>
#include <new>
#include <shared_mutex>

namespace telvora::detail {

constinit ForkState forkState;

namespace {

// A NoForkScope holds it shared, a thread that forks holds it alone. Never destroyed, because our
// threads still run while the process ends. Allocates nothing, so it cannot fail.
std::shared_mutex& forkLock()
{
    alignas(std::shared_mutex) static std::byte place[sizeof(std::shared_mutex)];
    static auto& lock = *new (place) std::shared_mutex;
    return lock;
}

} // namespace

NoForkScope::NoForkScope()
{
    forkLock().lock_shared();
}

NoForkScope::~NoForkScope()
{
    forkLock().unlock_shared();
}

void beforeFork()
{
    forkLock().lock();
}

void afterForkInParent()
{
    forkLock().unlock();
}

void afterForkInChild()
{
    // Not unlocked: the lock stores its owner's thread number, and this thread has another one now.
    new (&forkLock()) std::shared_mutex;
    ExitGate::afterForkInChild();
    if (isInUse())
        forkState.isForkedChild.store(true, std::memory_order_relaxed);
}

} // namespace telvora::detail
