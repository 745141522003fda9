#pragma once

#include <Telvora/Base/Export.h>

namespace telvora::detail {

/// Keeps our threads out of code and objects that exit() destroys: the host's closures, and what
/// they refer to; libraries of others, whose exit handlers know nothing of us.
///
/// exit() runs its handlers and the destructors of static objects from the newest to the oldest.
/// watch() puts a handler of ours before all that is alive when it is called. The first of these
/// handlers closes the gate and waits until everybody inside has left; from then on nobody enters.
///
/// Life: one for the process, from its start to its end.
///
/// Threads: any. A thread may be inside several times. The handler does not wait for the thread
/// that it runs on, so a closure may call exit(), and in a forked child it waits for nobody.
///
/// Deliberate: the wait has no limit. Whoever is inside and never leaves keeps the process from
/// ending, as a thread does that the host joins; leaving early would run into destroyed objects.
class TELVORA_EXPORT ExitGate {
public:
    /// Puts all that is alive now under the protection of the gate. Call it after each event that
    /// gives our threads something new to use. Costs some 30 bytes a call, for the life of the
    /// process.
    static void watch() noexcept;

    static bool isClosed() noexcept;

    /// Being inside, if the gate was open.
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

    /// For the fork handler: the threads that are not in the child are not inside either.
    static void afterForkInChild() noexcept;

private:
    static bool enter() noexcept;
    static void leave() noexcept;
    static void handleExit();
};

} // namespace telvora::detail
