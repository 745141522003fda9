#include <Telvora/Classes/Diagnostics.h>

#include <Telvora/Base/ForkedChild.h>
#include <Telvora/Base/Lazy.h>
#include <Telvora/Base/ProcessValue.h>
#include <Telvora/Base/Signal.h>
#include <Telvora/Platform/Clock.h>
#include <Telvora/Platform/Platform.h>

#include <algorithm>

namespace telvora {

std::string_view rawValue(Diagnostic::Kind kind)
{
    switch (kind) {
    case Diagnostic::Kind::uploadFailed:
        return "uploadFailed";
    case Diagnostic::Kind::batchGivenUp:
        return "batchGivenUp";
    case Diagnostic::Kind::eventsDropped:
        return "eventsDropped";
    case Diagnostic::Kind::headerLeftOut:
        return "headerLeftOut";
    case Diagnostic::Kind::hostException:
        return "hostException";
    case Diagnostic::Kind::heldBack:
        return "heldBack";
    }
    return {};
}

namespace detail {

namespace {

using Kind = Diagnostic::Kind;
using namespace std::chrono_literals;

constexpr int mostInSecond = 10;
constexpr int mostSubmitted = 100;

// Apart from the object, so that nobody makes it who has nothing to report.
constinit ProcessValue<bool> s_areWanted { false };

} // namespace

struct Diagnostics::Submitted {
    Submitted(Diagnostic&& submitted, std::atomic<int>& all)
        : diagnostic(std::move(submitted))
        , count(all)
    {
        ++count;
    }
    ~Submitted() { --count; }

    Submitted(const Submitted&) = delete;
    Submitted& operator=(const Submitted&) = delete;

    const Diagnostic diagnostic;
    std::atomic<int>& count;
};

Diagnostics& Diagnostics::shared()
{
    static constinit Lazy<Diagnostics> shared;
    return shared.get([] { return new Diagnostics; });
}

Diagnostics::Diagnostics()
    : m_queue(platform().dispatch.makeConcurrentQueue("com.quorvex.tracker.diagnostics"))
{
}

void Diagnostics::setHandler(DiagnosticsHandler handler)
{
    if (isForkedChild())
        return;
    const bool areWanted = handler != nullptr;
    shared().m_handler.set(areWanted ? keepHostClosure(std::move(handler)) : nullptr);
    setHostExceptionObserver(&hostThrew);
    s_areWanted.change().store(areWanted, std::memory_order_relaxed);
}

void Diagnostics::retire()
{
    m_handler.set(nullptr);
}

bool Diagnostics::areWanted() noexcept
{
    return s_areWanted->load(std::memory_order_relaxed) && !isForkedChild();
}

void Diagnostics::report(Diagnostic&& diagnostic) noexcept
{
    if (areWanted())
        shared().take(std::move(diagnostic));
}

void Diagnostics::eventsDropped(
    std::string_view index, DropReason reason, std::int64_t events) noexcept
try {
    if (events > 0 && areWanted())
        shared().gather({ std::string(index), reason }, events);
} catch (...) {
    // The ledger counts them all the same.
}

void Diagnostics::headerLeftOut(std::string_view index, std::string_view header) noexcept
try {
    if (areWanted()) {
        report({ .kind = Kind::headerLeftOut,
            .index = std::string(index),
            .header = std::string(header) });
    }
} catch (...) {
    // The request is sent without the header all the same.
}

void Diagnostics::hostThrew(const HostClosure& closure, std::string_view thrown) noexcept
try {
    if (areWanted()) {
        report({ .kind = Kind::hostException,
            .index = std::string(closure.index),
            .reason = std::string(closure.name) + " threw: " + std::string(thrown) });
    }
} catch (...) {
    // The ledger counts it all the same.
}

void Diagnostics::take(Diagnostic&& diagnostic) noexcept
{
    if (hasRoom()) {
        try {
            submit(std::move(diagnostic));
            return;
        } catch (...) {
            // There is no memory for the block.
        }
    }
    holdBack();
}

bool Diagnostics::hasRoom() noexcept
{
    const Time now = platform().clock.steadyNow();
    const MutexLock lock(m_lock);
    // While something is held back, endSecond() begins the next second.
    if (m_heldBack == 0 && now >= m_secondBegan + 1s) {
        m_secondBegan = now;
        m_takenInSecond = 0;
    }
    if (m_takenInSecond >= mostInSecond || m_submitted >= mostSubmitted)
        return false;
    ++m_takenInSecond;
    return true;
}

void Diagnostics::holdBack() noexcept
{
    Time end;
    {
        const MutexLock lock(m_lock);
        if (m_heldBack++ > 0)
            return; // endSecond() is under way.
        end = m_secondBegan + 1s;
    }
    endSecondAt(end);
}

void Diagnostics::endSecondAt(Time end) noexcept
try {
    const auto rest = end - platform().clock.steadyNow();
    platform().dispatch.globalAsyncAfter(
        std::max<std::chrono::nanoseconds>(rest, 1ns), [this] { endSecond(); });
} catch (...) {
    // There is no memory: nobody learns how many there were.
    const MutexLock lock(m_lock);
    m_heldBack = 0;
}

void Diagnostics::endSecond() noexcept
try {
    const Time now = platform().clock.steadyNow();
    if (m_submitted >= mostSubmitted)
        return endSecondAt(now + 1s); // Nothing more is taken until there is room.
    Diagnostic heldBack { .kind = Kind::heldBack };
    {
        const MutexLock lock(m_lock);
        heldBack.count = std::exchange(m_heldBack, 0);
        m_secondBegan = now;
        m_takenInSecond = 0;
    }
    submit(std::move(heldBack));
} catch (...) {
    // Nobody learns how many there were.
}

void Diagnostics::gather(const Drop& drop, std::int64_t events)
{
    {
        const MutexLock lock(m_lock);
        const auto [place, isNew] = m_gathered.try_emplace(drop, 0);
        place->second += events;
        if (!isNew)
            return;
    }
    try {
        platform().dispatch.globalAsyncAfter(1s, [this, drop] { takeGathered(drop); });
    } catch (...) {
        // Otherwise nobody would report it, now or later.
        const MutexLock lock(m_lock);
        m_gathered.erase(drop);
    }
}

void Diagnostics::takeGathered(const Drop& drop) noexcept
try {
    std::int64_t events = 0;
    {
        const MutexLock lock(m_lock);
        const auto gathered = m_gathered.find(drop);
        events = gathered->second;
        m_gathered.erase(gathered);
    }
    report({ .kind = Kind::eventsDropped,
        .index = drop.first,
        .events = events,
        .dropReason = drop.second });
} catch (...) {
    // The ledger counts them all the same.
}

void Diagnostics::submit(Diagnostic&& diagnostic)
{
    m_queue->barrierAsync(
        [this, owned = std::make_unique<Submitted>(std::move(diagnostic), m_submitted)] {
            deliver(owned->diagnostic);
        });
}

void Diagnostics::deliver(const Diagnostic& diagnostic) const
{
    const auto handler = m_handler.get();
    if (!handler)
        return;
    const NoWaitScope inDelivery;
    callHost([&] {
        try {
            (*handler)(diagnostic);
        } catch (...) {
            // Counted, but not told: a handler that always throws would be called for ever.
            noteHostException();
        }
    });
}

} // namespace detail

} // namespace telvora
