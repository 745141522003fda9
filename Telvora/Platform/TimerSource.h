#pragma once

#include <Telvora/Base/Export.h>

#include <chrono>
#include <functional>

namespace telvora {

/// A repeating timer on the steady clock. Handlers run on the global default-priority queue, never
/// two of one source at once.
///
/// Life: created suspended and without a schedule. Destroying it ends the ticks; the destructor
/// waits for a handler that is running, unless it is that handler that destroys it.
///
/// Threads: every operation from any thread.
///
/// Deadlines that pass while it is suspended do not fire one by one: after resume() at most one
/// missed tick comes at once, and the schedule goes on from there. Deadlines that pass while a
/// handler runs coalesce in the same way.
///
/// suspend() and resume() count, as a lock does: two suspends take two resumes. A resume too many
/// is ignored.
class TELVORA_EXPORT TimerSource {
public:
    virtual ~TimerSource() = default;

    /// First deadline `interval` from now, then every `interval`. Replaces an earlier schedule.
    /// An interval of zero or less ticks as one of a nanosecond would, limited by the handler.
    virtual void schedule(std::chrono::nanoseconds interval) = 0;

    /// Replaces the handler; it takes effect with the next tick.
    virtual void setHandler(std::function<void()> handler) = 0;

    virtual void suspend() = 0;
    virtual void resume() = 0;
};

} // namespace telvora
