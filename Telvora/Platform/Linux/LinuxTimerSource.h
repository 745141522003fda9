#pragma once

#include <Telvora/Platform/TimerSource.h>

#include <memory>

namespace telvora {

/// A timer of LinuxDispatch. Its deadlines wait in the TimerThread, one at a time: the next one is
/// set when the handler has returned, which is what makes deadlines coalesce that pass meanwhile.
class LinuxTimerSource final : public TimerSource {
public:
    LinuxTimerSource();
    ~LinuxTimerSource() override;

    void schedule(std::chrono::nanoseconds interval) override;
    void setHandler(std::function<void()> handler) override;
    void suspend() override;
    void resume() override;

private:
    class State;

    /// Shared with the deadline and the tick that are under way.
    const std::shared_ptr<State> m_state;
};

} // namespace telvora
