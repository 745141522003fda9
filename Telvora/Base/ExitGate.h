#pragma once

#include <Telvora/Base/Export.h>

namespace telvora::detail {

/// Keeps our threads from using what exit() destroys: objects that the host's closures refer to,
/// and the state of other libraries.
///
/// exit() runs its handlers and the destructors of static objects, the newest first. watch()
/// registers a handler, which therefore runs before any object is destroyed that is alive at the
/// time of the call. The first handler to run closes the gate: no thread enters any more. Then it
/// waits until the threads that are inside have left.
///
/// Life: one for the process, from its start to its end.
///
/// Threads: any. A thread may be inside several times. The handler does not wait for the thread
/// that it runs on, so a closure may call exit(). In a forked child it does not wait at all.
///
/// Deliberate: the wait has no limit, for no closure, not for the diagnostics handler either. A
/// thread that never leaves keeps the process from ending, as a thread does that the host joins; to
/// go on without it would let it use destroyed objects. std::quick_exit() and std::_Exit() do not
/// wait.
class TELVORA_EXPORT ExitGate {
public:
    /// From now on exit() closes the gate before it destroys any object that is alive now. Call it
    /// whenever our threads get something new to use. Each call costs some 30 bytes, for the life
    /// of the process.
    static void watch() noexcept;

    /// True once exit() has closed the gate.
    static bool isClosed() noexcept;

    /// Enters the gate if it is open, and leaves it when destroyed. False when the gate was closed.
    class TELVORA_EXPORT Pass {
    public:
        Pass() noexcept;
        ~Pass();

        Pass(const Pass&) = delete;
        Pass& operator=(const Pass&) = delete;

        explicit operator bool() const { return m_isInside; }

    private:
        const bool m_isInside;
    };

    /// Whether the calling thread is inside.
    static bool isInside() noexcept;

    /// For the fork handler: counts only the calling thread as inside, since the child has no
    /// other.
    static void afterForkInChild() noexcept;

private:
    static bool enter() noexcept;
    static void leave() noexcept;
    static void handleExit();
};

} // namespace telvora::detail
