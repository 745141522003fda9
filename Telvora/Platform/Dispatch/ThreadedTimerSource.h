#pragma once

#include <Telvora/Platform/Dispatch/TimerThread.h>
#include <Telvora/Platform/Dispatch/WorkerPool.h>
#include <Telvora/Platform/TimerSource.h>

#include <memory>

namespace telvora::detail {

/// A timer of ThreadedDispatch. Its next deadline waits in the TimerThread; its ticks run on the
/// pool.
///
/// Deliberate: an interval of less than a millisecond ticks once a millisecond. The library needs
/// nothing shorter, and an interval of 0 would keep a processor busy.
class ThreadedTimerSource final : public TimerSource {
public:
    ThreadedTimerSource(std::shared_ptr<TimerThread> timers, std::shared_ptr<WorkerPool> pool);
    ~ThreadedTimerSource() override;

    ThreadedTimerSource(const ThreadedTimerSource&) = delete;
    ThreadedTimerSource& operator=(const ThreadedTimerSource&) = delete;

    void schedule(std::chrono::nanoseconds interval) override;
    void setHandler(std::function<void()> handler) override;
    void suspend() override;
    void resume() override;

private:
    class State;

    // Shared with the armed deadline and the tick that is under way.
    const std::shared_ptr<State> m_state;
};

} // namespace telvora::detail
