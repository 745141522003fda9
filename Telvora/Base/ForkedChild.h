#pragma once

#include <Telvora/Base/Export.h>

#include <atomic>

/// What the library knows of fork().
///
/// The library is in use from its first event, request or thread on. A process that is forked
/// before that is a process like any other: a daemon may register its channels and fork. In one
/// that is forked later, only the thread that called fork() exists; our locks may be held by
/// threads that it does not have, and what they guard may be half changed. There the library is
/// inert: it takes no lock, looks at nothing that a lock guards and starts no thread; every call
/// returns at once with a neutral answer (empty, absent, false, zero).
///
/// Threads: any. The three fork handlers belong to the system's folder, which has fork() call them.
namespace telvora::detail {

struct ForkState {
    std::atomic<bool> isInUse { false };
    std::atomic<bool> isForkedChild { false };
};

TELVORA_EXPORT extern constinit ForkState forkState;

/// True in a child that was forked from a process in which the library was in use.
inline bool isForkedChild() noexcept
{
    return forkState.isForkedChild.load(std::memory_order_relaxed);
}

/// True once the library has been used in this process or in the one it was forked from.
inline bool isInUse() noexcept
{
    return forkState.isInUse.load(std::memory_order_relaxed);
}

/// Comes before the first thing that a fork could break. Costs one load when it was called before.
inline void noteUse() noexcept
{
    if (!isInUse())
        forkState.isInUse.store(true, std::memory_order_relaxed);
}

/// While one lives, a fork() on another thread waits for its end. For the time that a thread of
/// ours spends in a library of others, whose locks the child would inherit locked for ever. Keep
/// it short, and do not fork inside.
class TELVORA_EXPORT NoForkScope {
public:
    NoForkScope();
    ~NoForkScope();

    NoForkScope(const NoForkScope&) = delete;
    NoForkScope& operator=(const NoForkScope&) = delete;
};

TELVORA_EXPORT void beforeFork();
TELVORA_EXPORT void afterForkInParent();
TELVORA_EXPORT void afterForkInChild();

} // namespace telvora::detail
