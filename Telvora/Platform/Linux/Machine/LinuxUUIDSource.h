#pragma once

#include <Telvora/Platform/UUIDSource.h>

namespace telvora::detail {

/// UUIDs from the kernel's randomness (getrandom), one call for each. Nothing is kept, so parent
/// and child never give out the same.
///
/// Failure: none. Where the kernel gives nothing, as in a sandbox that forbids the call, the
/// numbers come from the clocks, the process and a count: enough to tell two events apart, but
/// they could be guessed.
class LinuxUUIDSource final : public UUIDSource {
public:
    UUID next() override;
};

} // namespace telvora::detail
