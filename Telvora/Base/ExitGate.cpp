#include <Telvora/Base/ExitGate.h>

#include <Telvora/Base/ForkedChild.h>

#include <atomic>
#include <cstdlib>

namespace telvora::detail {

namespace {

// How many times threads are inside, times two, plus the lowest bit once the gate is closed. Both
// are in one word, so that entering comes either before closing or after it.
constexpr unsigned isClosedBit = 1;
constexpr unsigned oneInside = 2;

constinit std::atomic<unsigned> s_gate { 0 };
constinit thread_local unsigned t_timesInside = 0;

} // namespace

void ExitGate::watch() noexcept
{
    if (isForkedChild())
        return;
    // A child that is forked during atexit() would inherit the C library's lock on its list of
    // handlers as locked, and hang in exit().
    const NoForkScope noFork;
    // Without memory for the handler there is no protection; nothing else is lost.
    static_cast<void>(std::atexit(&ExitGate::handleExit));
}

bool ExitGate::isClosed() noexcept
{
    return (s_gate.load(std::memory_order_acquire) & isClosedBit) != 0;
}

bool ExitGate::isInside() noexcept
{
    return t_timesInside != 0;
}

bool ExitGate::enter() noexcept
{
    if (s_gate.fetch_add(oneInside, std::memory_order_acquire) & isClosedBit) {
        leave();
        return false;
    }
    ++t_timesInside;
    return true;
}

// The release makes what was done inside visible to the handler, whose acquire reads this count.
void ExitGate::leave() noexcept
{
    if (s_gate.fetch_sub(oneInside, std::memory_order_release) & isClosedBit)
        s_gate.notify_all();
}

void ExitGate::handleExit()
{
    const unsigned before = s_gate.fetch_or(isClosedBit, std::memory_order_acquire);
    if ((before & isClosedBit) || isForkedChild())
        return;
    const unsigned ownOnly = t_timesInside * oneInside | isClosedBit;
    for (unsigned gate = before | isClosedBit; gate != ownOnly;
         gate = s_gate.load(std::memory_order_acquire))
        s_gate.wait(gate, std::memory_order_acquire);
}

void ExitGate::afterForkInChild() noexcept
{
    const unsigned closed = s_gate.load(std::memory_order_relaxed) & isClosedBit;
    s_gate.store(t_timesInside * oneInside | closed, std::memory_order_relaxed);
}

ExitGate::Pass::Pass() noexcept
    : m_isInside(enter())
{
}

ExitGate::Pass::~Pass()
{
    if (!m_isInside)
        return;
    --t_timesInside;
    leave();
}

} // namespace telvora::detail
