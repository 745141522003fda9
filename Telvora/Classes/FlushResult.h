#pragma once

#include <cstdint>

namespace telvora {

/// How TrackerManager::flush() or shutdown() ended.
///
/// Threads: a value without a lock.
struct FlushResult {
    /// Whether no work is queued and no upload is under way. Batches may wait for their retry.
    bool atRest = true;
    /// How many events of all channels are not delivered and not dropped.
    std::int64_t left = 0;

    /// Member by member.
    bool operator==(const FlushResult&) const = default;
};

} // namespace telvora
