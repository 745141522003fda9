#pragma once

#include <Telvora/Base/Mutex.h>

#include <cstdint>
#include <optional>
#include <vector>

namespace telvora {

class QueueCore;

/// The queues of one LinuxDispatch that exist just now, for whoever waits until they are at rest.
/// Nothing that a submission does touches it.
///
/// Threads: every operation from any thread; in a forked child they do nothing, and the list may
/// be taken for idle.
class LinuxQueueList {
public:
    void add(QueueCore& queue);
    void remove(QueueCore& queue);

    /// Absent while something waits or runs on one of the queues or in the pool; else a number
    /// that has grown when next asked if something has run since.
    std::optional<std::uint64_t> activityAtRest();

private:
    Mutex m_lock;
    std::vector<QueueCore*> m_queues TELVORA_GUARDED_BY(m_lock);
    std::uint64_t m_activityOfRemoved TELVORA_GUARDED_BY(m_lock) = 0;
};

} // namespace telvora
