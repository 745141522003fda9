#pragma once

#include <sys/types.h>

#include <atomic>
#include <shared_mutex>

namespace telvora {

/// Keeps a thread that nobody joins out of other people's libraries while the process ends. Their
/// exit handlers (OpenSSL's frees its tables) run on the main thread and know nothing of ours.
///
/// The thread does its work inside sections. When exit() comes, a handler of ours waits, for a
/// bounded time, until every section is left; whoever enters one from then on sleeps for good.
///
/// Life: one for each process, made on first use and never destroyed. A forked child gets a fresh
/// one, since the sections that its parent's threads were in are never left there.
/// Threads: any.
class ProcessExit {
public:
    static ProcessExit& current();

    /// Has the handler run before all exit handlers known so far. Call it before the first
    /// section, and again once a library that may have brought a handler is set up.
    void watch();

    bool isUnderWay() const { return m_isUnderWay.load(std::memory_order_acquire); }

    /// While it lives, the process does not end under the caller.
    class Section {
    public:
        explicit Section(ProcessExit& exit);

    private:
        std::shared_lock<std::shared_timed_mutex> m_lock;
    };

private:
    explicit ProcessExit(pid_t process);

    static void handleExit();

    const pid_t m_process;
    std::shared_timed_mutex m_gate;
    std::atomic<bool> m_isUnderWay { false };
};

} // namespace telvora
