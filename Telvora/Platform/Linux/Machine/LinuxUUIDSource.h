#pragma once

#include <Telvora/Platform/UUIDSource.h>

namespace telvora::detail {

/// UUIDs from the kernel's randomness (getrandom), one call for each. It has no state, so a
/// parent and its forked child never make the same UUID.
///
/// Failure: none. When the kernel refuses, as in a sandbox that forbids the call, the numbers come
/// from the clocks, the process and a counter: unique, but they could be guessed.
class LinuxUUIDSource final : public UUIDSource {
public:
    UUID next() override;
};

} // namespace telvora::detail
