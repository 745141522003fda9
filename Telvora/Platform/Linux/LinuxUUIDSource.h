#pragma once

#include <Telvora/Platform/UUIDSource.h>

namespace telvora {

/// UUIDs from the kernel's randomness, fetched for sixteen at a time, each thread for itself.
///
/// Fork: what a thread has in store is worth nothing in the child, which fetches anew; parent and
/// child never give out the same UUID, however the child was made.
///
/// Failure: none. Where the kernel's call is forbidden the random device is read, and without that
/// too the numbers come from the clocks and the process, which is enough to tell two events apart
/// but could be guessed.
class TELVORA_EXPORT LinuxUUIDSource final : public UUIDSource {
public:
    UUIDBytes next() override;
};

} // namespace telvora
