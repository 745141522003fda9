#pragma once

#include <Telvora/Platform/Simulated/ManualDispatchCore.h>
#include <Telvora/Platform/TimerSource.h>

#include <memory>

namespace telvora::detail {

/// The TimerSource of ManualDispatch. A tick is a block of the global queue; at most one is ready
/// at a time, and suspending takes a ready one back until the resume.
class ManualTimerSource final : public TimerSource {
public:
    explicit ManualTimerSource(std::shared_ptr<ManualDispatchCore> core);
    ~ManualTimerSource() override;

    void schedule(std::chrono::nanoseconds interval) override;
    void setHandler(std::function<void()> handler) override;
    void suspend() override;
    void resume() override;

private:
    const std::shared_ptr<ManualDispatchCore> m_core;
    const std::shared_ptr<ManualDispatchCore::Timer> m_timer;
};

} // namespace telvora::detail
