#pragma once

#include <Telvora/Base/Guarded.h>
#include <Telvora/Base/HostCall.h>
#include <Telvora/Base/Mutex.h>
#include <Telvora/Classes/Diagnostic.h>
#include <Telvora/Platform/DispatchQueue.h>

#include <atomic>
#include <chrono>
#include <cstdint>
#include <map>
#include <memory>
#include <string>
#include <string_view>
#include <utility>

namespace telvora::detail {

/// Hands diagnostics to the host's handler: each in a block of a queue of its own, in order, so
/// that a handler that blocks holds nothing else up. A broken network or a loop of bad events could
/// otherwise drown the host, so at most ten are delivered a second, and dropped events are
/// gathered. While a hundred wait for a handler that blocks, further ones are held back.
///
/// Life: one, made on first use and never destroyed.
/// Threads: any.
/// Failure: nothing is thrown, except by setHandler(), which throws std::bad_alloc. A diagnostic
/// for which there is no memory counts as held back, or is lost. While no handler is installed
/// nothing is kept.
class Diagnostics {
public:
    /// Empty takes the handler away.
    static void setHandler(DiagnosticsHandler handler);
    /// Whether a handler is installed. A caller need make no diagnostic otherwise.
    static bool areWanted() noexcept;

    static void report(Diagnostic&& diagnostic) noexcept;
    /// Gathers `events` with those of the same channel and reason, for a second.
    static void eventsDropped(
        std::string_view index, DropReason reason, std::int64_t events) noexcept;

    static void headerLeftOut(std::string_view index, std::string_view header) noexcept;

    /// For Lazy: releases the handler.
    void retire();

private:
    using Time = std::chrono::steady_clock::time_point;
    // A channel's index and a reason.
    using Drop = std::pair<std::string, DropReason>;

    Diagnostics();
    static Diagnostics& shared();

    static void hostThrew(const HostClosure& closure, std::string_view thrown) noexcept;

    // A diagnostic in the queue, counted from its submission until it is delivered.
    struct Submitted;

    void take(Diagnostic&& diagnostic) noexcept TELVORA_EXCLUDES(m_lock);
    // Whether the diagnostic is among the first of its second and the queue is not full; counts it
    // then.
    bool hasRoom() noexcept TELVORA_EXCLUDES(m_lock);
    void holdBack() noexcept TELVORA_EXCLUDES(m_lock);
    // Calls endSecond() then, or now if it is past.
    void endSecondAt(Time end) noexcept TELVORA_EXCLUDES(m_lock);
    void gather(const Drop& drop, std::int64_t events) TELVORA_EXCLUDES(m_lock);
    void takeGathered(const Drop& drop) noexcept TELVORA_EXCLUDES(m_lock);
    void endSecond() noexcept TELVORA_EXCLUDES(m_lock);
    void submit(Diagnostic&& diagnostic);
    void deliver(const Diagnostic& diagnostic) const;

    const std::unique_ptr<DispatchQueue> m_queue;
    Guarded<std::shared_ptr<const DiagnosticsHandler>> m_handler;

    // How many are submitted and not delivered.
    std::atomic<int> m_submitted { 0 };

    Mutex m_lock;
    // A second begins with the first diagnostic after the one before.
    Time m_secondBegan TELVORA_GUARDED_BY(m_lock) {};
    int m_takenInSecond TELVORA_GUARDED_BY(m_lock) = 0;
    std::int64_t m_heldBack TELVORA_GUARDED_BY(m_lock) = 0;
    std::map<Drop, std::int64_t> m_gathered TELVORA_GUARDED_BY(m_lock);
};

} // namespace telvora::detail
