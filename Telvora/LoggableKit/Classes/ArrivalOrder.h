#pragma once

#include <Telvora/Base/ForkedChild.h>
#include <Telvora/Base/Mutex.h>

#include <atomic>
#include <condition_variable>
#include <cstdint>
#include <thread>

namespace telvora::detail {

/// Lets threads in one at a time, in the order in which they arrive. The turn of a queue goes to
/// the quickest thread instead; that would change the order of a log's lines.
///
/// Life: never destroyed while a thread is inside or waits.
///
/// Threads: any. A thread that is inside does not wait for itself when it enters again.
///
/// Exit: threads that wait give up, because the thread that is inside may be the one that called
/// exit(), and exit() may wait for them.
class ArrivalOrder {
public:
    ArrivalOrder() = default;
    ArrivalOrder(const ArrivalOrder&) = delete;
    ArrivalOrder& operator=(const ArrivalOrder&) = delete;

    /// The place of one thread, for a scope. Waits until all that arrived earlier have left.
    class Place {
    public:
        explicit Place(ArrivalOrder& order);
        ~Place();

        Place(const Place&) = delete;
        Place& operator=(const Place&) = delete;

        /// False once exit() has begun, or in a forked child: the thread has not come inside.
        explicit operator bool() const { return m_isInside; }

    private:
        ArrivalOrder& m_order;
        const LockedCallScope m_scope;
        const bool m_isNested;
        const bool m_isInside;
    };

    /// How many threads wait.
    unsigned waitingCount() TELVORA_EXCLUDES(m_lock);

private:
    bool enter() TELVORA_EXCLUDES(m_lock);
    void leave() TELVORA_EXCLUDES(m_lock);

    std::atomic<std::thread::id> m_owner;
    Mutex m_lock;
    std::condition_variable_any m_change;
    // The places given to threads and the place that is inside, both counted from 0.
    std::uint64_t m_arrived TELVORA_GUARDED_BY(m_lock) = 0;
    std::uint64_t m_inside TELVORA_GUARDED_BY(m_lock) = 0;
    unsigned m_waiting TELVORA_GUARDED_BY(m_lock) = 0;
};

} // namespace telvora::detail
