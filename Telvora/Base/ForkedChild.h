#pragma once

#include <Telvora/Base/Export.h>

#include <atomic>
#include <optional>

/// How the library behaves in a process made by fork().
///
/// The library is in use from its first event, retry entry, request or thread on. In a child that
/// was forked before that, everything works: a daemon may register its channels and then fork.
///
/// Until then a fork waits while another thread holds a lock of ours for a moment
/// (NoForkBeforeUse). It does not wait while another thread runs code of the host with a lock held:
/// the child of that fork is inert, too (LockedCallScope).
///
/// In a child that was forked later, only the thread that called fork() exists. Threads that the
/// child does not have may hold our locks, and the data behind those locks may be half changed.
/// There the library is inert: it takes no lock, reads nothing that a lock guards and starts no
/// thread. Every call returns at once with a neutral answer (empty, absent, false, zero).
///
/// Threads: any. The system's part of the platform registers the three fork handlers.
namespace telvora::detail {

/// Read it through isInUse() and isForkedChild().
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

/// Call it before the library starts a thread or hands work to one. Costs one load from the second
/// call on.
inline void noteUse() noexcept
{
    if (!isInUse())
        forkState.isInUse.store(true, std::memory_order_relaxed);
}

/// While one exists, a fork() on another thread waits. Use it around calls into another library
/// whose locks the child would otherwise inherit locked for ever. Keep it short, and do not fork
/// inside.
class TELVORA_EXPORT NoForkScope {
public:
    NoForkScope();
    ~NoForkScope();

    NoForkScope(const NoForkScope&) = delete;
    NoForkScope& operator=(const NoForkScope&) = delete;
};

/// A NoForkScope until the library is in use. Later it does nothing: children are inert then and
/// take no lock. For locks that are held for a few instructions.
class NoForkBeforeUse {
public:
    NoForkBeforeUse()
    {
        if (!isInUse())
            m_scope.emplace();
    }

private:
    std::optional<NoForkScope> m_scope;
};

/// While one exists on another thread, a fork() makes an inert child even before the first use. For
/// code of the host that runs with a lock of ours held: such code may fork itself, so a NoForkScope
/// would wait for itself.
class TELVORA_EXPORT LockedCallScope {
public:
    LockedCallScope();
    ~LockedCallScope();

    LockedCallScope(const LockedCallScope&) = delete;
    LockedCallScope& operator=(const LockedCallScope&) = delete;
};

/// The fork handlers, in the order in which fork() calls them: the first one in the parent, before
/// the child exists.
TELVORA_EXPORT void beforeFork();
TELVORA_EXPORT void afterForkInParent();
TELVORA_EXPORT void afterForkInChild();

} // namespace telvora::detail
