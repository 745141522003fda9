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

/// The platform that the script runs on: the real one or the simulated one.
///
/// Life: made and installed before the library is first used; never destroyed.
/// Threads: the main thread makes it and calls rest(); any thread may call the other functions.
class World {
public:
    virtual ~World() = default;

    /// Null on the real platform.
    virtual SimulatedPlatform* simulated() { return nullptr; }

    virtual NotificationCenter& notificationCenter() = 0;

    virtual bool isOnMainThread() const = 0;

    /// Called between two lines of the script: runs the queued work of a simulated platform.
    virtual void rest() { }

    /// Waits until no block is queued and, with `uploads`, no upload is under way. False where
    /// `timeout` passes first.
    virtual bool settle(std::chrono::nanoseconds timeout, bool uploads) = 0;
};

/// Makes the real platform and installs it.
std::unique_ptr<World> makeLinuxWorld();
/// Makes the simulated platform and installs it. Requests, file accesses and registrations become
/// events on `output`.
std::unique_ptr<World> makeSimulatedWorld(std::uint64_t seed, Output& output);

} // namespace telvora::host
