#include <Telvora/Base/ForkedChild.h>

#include <Telvora/Base/ExitGate.h>

#include <cstddef>
#include <new>
#include <shared_mutex>

namespace telvora::detail {

constinit ForkState forkState;

namespace {

// Held shared by each NoForkScope and alone by a thread that forks. Never destroyed: threads of
// ours are still at work when the process ends. Needs no memory that could be wanting.
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
    // Not unlocked: a lock remembers its owner by the thread's number, which is another one here.
    new (&forkLock()) std::shared_mutex;
    ExitGate::afterForkInChild();
    if (isInUse())
        forkState.isForkedChild.store(true, std::memory_order_relaxed);
}

} // namespace telvora::detail
