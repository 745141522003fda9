#pragma once

#include <Telvora/Platform/Clock.h>

namespace telvora::detail {

/// The machine's clocks: CLOCK_REALTIME and CLOCK_MONOTONIC.
class LinuxClock final : public Clock {
public:
    double secondsSince1970() const override;
    std::chrono::steady_clock::time_point steadyNow() const override;
};

} // namespace telvora::detail
