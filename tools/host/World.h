#pragma once

#include <chrono>
#include <cstdint>
#include <memory>

namespace telvora {
class NotificationCenter;
class SimulatedPlatform;
} // namespace telvora

namespace telvora::host {

class Output;

/// The platform under the library, as the script sees it: the real one or the simulated one.
///
/// Life: made and installed before the library is first used; never destroyed.
/// Threads: the main thread makes it and calls rest(); the rest is for any.
class World {
public:
    virtual ~World() = default;

    /// Null on the real platform.
    virtual SimulatedPlatform* simulated() { return nullptr; }

    virtual NotificationCenter& notificationCenter() = 0;

    virtual bool isOnMainThread() const = 0;

    /// Between two lines of the script.
    virtual void rest() { }

    /// Waits until no block is queued and, with `uploads`, no upload is under way. False when that
    /// is still not so after `timeout`.
    virtual bool settle(std::chrono::nanoseconds timeout, bool uploads) = 0;
};

/// Each makes the platform and installs it.
std::unique_ptr<World> makeLinuxWorld();
/// What the platform is asked becomes events on `output`.
std::unique_ptr<World> makeSimulatedWorld(std::uint64_t seed, Output& output);

} // namespace telvora::host
