#include <Telvora/Base/ForkedChild.h>

#include <Telvora/Base/ExitGate.h>

#include <atomic>

namespace telvora::detail {

constinit ForkState forkState;

namespace {

// One word: how many NoForkScopes exist, times two, and the lowest bit while a thread forks. Not a
// lock of the system's, because that stores its owner's thread number, and the forking thread has
// another one in the child.
constexpr unsigned isForkingBit = 1;
constexpr unsigned oneScope = 2;

constinit std::atomic<unsigned> s_scopes { 0 };
constinit thread_local unsigned t_scopes = 0;

// How many LockedCallScopes exist.
constinit std::atomic<unsigned> s_lockedCalls { 0 };
constinit thread_local unsigned t_lockedCalls = 0;

} // namespace

LockedCallScope::LockedCallScope()
{
    ++t_lockedCalls;
    ++s_lockedCalls;
}

LockedCallScope::~LockedCallScope()
{
    --s_lockedCalls;
    --t_lockedCalls;
}

NoForkScope::NoForkScope()
{
    // A thread that has one already must not wait: the fork waits for it.
    if (t_scopes++ > 0)
        return;
    unsigned before = s_scopes.load(std::memory_order_relaxed);
    for (;;) {
        if (before & isForkingBit) {
            s_scopes.wait(before, std::memory_order_relaxed);
            before = s_scopes.load(std::memory_order_relaxed);
        } else if (s_scopes.compare_exchange_weak(
                       before, before + oneScope, std::memory_order_acquire)) {
            return;
        }
    }
}

// Releases what was done inside to a thread that forks, which acquires it with the count.
NoForkScope::~NoForkScope()
{
    if (--t_scopes == 0 && (s_scopes.fetch_sub(oneScope, std::memory_order_release) & isForkingBit))
        s_scopes.notify_all();
}

void beforeFork()
{
    for (;;) {
        const unsigned before = s_scopes.fetch_or(isForkingBit, std::memory_order_acquire);
        if (!(before & isForkingBit))
            break;
        // Another thread forks.
        s_scopes.wait(before, std::memory_order_acquire);
    }
    for (unsigned scopes = s_scopes.load(std::memory_order_acquire); scopes != isForkingBit;
         scopes = s_scopes.load(std::memory_order_acquire))
        s_scopes.wait(scopes, std::memory_order_acquire);
}

void afterForkInParent()
{
    s_scopes.fetch_and(~isForkingBit, std::memory_order_release);
    s_scopes.notify_all();
}

void afterForkInChild()
{
    s_scopes.store(0, std::memory_order_relaxed);
    ExitGate::afterForkInChild();
    const bool hasLockedCall = s_lockedCalls.exchange(t_lockedCalls) != t_lockedCalls;
    if (isInUse() || hasLockedCall)
        forkState.isForkedChild.store(true, std::memory_order_relaxed);
}

} // namespace telvora::detail
