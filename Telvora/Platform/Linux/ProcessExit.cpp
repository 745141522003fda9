#include <Telvora/Platform/Linux/ProcessExit.h>

#include <unistd.h>

#include <chrono>
#include <cstdlib>

namespace telvora {

namespace {

// Far beyond any section; only a machine that stands still is not waited for.
constexpr std::chrono::seconds patience { 2 };

std::atomic<ProcessExit*> s_current { nullptr };

} // namespace

ProcessExit::ProcessExit(pid_t process)
    : m_process(process)
{
}

ProcessExit& ProcessExit::current()
{
    pid_t process = getpid();
    ProcessExit* known = s_current.load(std::memory_order_acquire);
    while (!known || known->m_process != process) {
        auto* fresh = new ProcessExit(process);
        if (s_current.compare_exchange_strong(known, fresh))
            return *fresh;
        delete fresh;
    }
    return *known;
}

void ProcessExit::watch()
{
    std::atexit(&ProcessExit::handleExit);
}

void ProcessExit::handleExit()
{
    ProcessExit* exit = s_current.load(std::memory_order_acquire);
    if (exit->m_process != getpid() || exit->m_isUnderWay.exchange(true))
        return;
    // Never unlocked: nobody enters a section any more.
    static_cast<void>(exit->m_gate.try_lock_for(patience));
}

ProcessExit::Section::Section(ProcessExit& exit)
    : m_lock(exit.m_gate, std::defer_lock)
{
    for (;;) {
        m_lock.lock();
        if (!exit.isUnderWay())
            return;
        m_lock.unlock();
        pause();
    }
}

} // namespace telvora
