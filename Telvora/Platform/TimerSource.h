#pragma once

#include <Telvora/Base/Export.h>

#include <chrono>
#include <functional>

namespace telvora {

/// A repeating timer on the steady clock. Its handler runs on the global default-priority queue,
/// never twice at the same time.
///
/// Used by TrackerTimer.
///
/// Life: created suspended and without a schedule. The destructor ends the ticks and waits for a
/// running handler, unless that handler calls it.
///
/// Threads: every operation from any thread.
///
/// All deadlines that pass while it is suspended cause at most one tick, right after resume(); the
/// schedule then continues. The same holds for deadlines that pass while the handler runs.
///
/// suspend() and resume() are counted: after two calls of suspend() it takes two of resume(). A
/// resume() without a suspend() is ignored.
class TELVORA_EXPORT TimerSource {
public:
    virtual ~TimerSource() = default;

    /// First deadline `interval` from now, then every `interval`. Replaces an earlier schedule.
    /// An interval of zero or less ticks as one of a nanosecond would, limited by the handler.
    virtual void schedule(std::chrono::nanoseconds interval) = 0;

    /// Replaces the handler; it takes effect with the next tick.
    virtual void setHandler(std::function<void()> handler) = 0;

    /// Stops the ticks; a running handler continues.
    virtual void suspend() = 0;
    /// Undoes one suspend().
    virtual void resume() = 0;
};

} // namespace telvora
