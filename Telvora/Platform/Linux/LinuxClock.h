#pragma once

#include <Telvora/Platform/Clock.h>

namespace telvora {

/// The machine's clocks: CLOCK_REALTIME and CLOCK_MONOTONIC.
class TELVORA_EXPORT LinuxClock final : public Clock {
public:
    double secondsSince1970() const override;
    std::chrono::steady_clock::time_point steadyNow() const override;
};

} // namespace telvora
