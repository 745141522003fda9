#pragma once

#include <Telvora/Base/ForkedChild.h>
#include <Telvora/Base/Mutex.h>

#include <atomic>
#include <condition_variable>
#include <cstddef>
#include <thread>
#include <vector>

namespace telvora::detail {

/// Lets threads in one at a time, in the order in which they arrive. The turn of a queue goes to
/// the quickest thread instead; that would change the order of a log's lines.
///
/// Life: must outlive every Place. The log's is never destroyed.
///
/// Threads: any. A thread that leaves wakes the next one alone. A thread that is inside does not
/// wait for itself when it enters again.
///
/// Failure: entering throws std::bad_alloc where it must wait and there is no memory.
///
/// Exit: threads that wait give up, because the thread that is inside may be the one that called
/// exit(), and exit() may wait for them. Fork: nobody enters in an inert child; a child that was
/// forked while another thread was inside or waited is inert (LockedCallScope).
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

    /// How many threads wait. For tests.
    std::size_t waitingCount() TELVORA_EXCLUDES(m_lock);

private:
    bool enter() TELVORA_EXCLUDES(m_lock);
    void leave() TELVORA_EXCLUDES(m_lock);

    // A thread that waits, on its own stack.
    struct Waiter {
        std::condition_variable_any change;
        bool isNext = false;
    };

    Mutex m_lock;
    // Stays true while the place inside goes from one thread to the next.
    bool m_isTaken TELVORA_GUARDED_BY(m_lock) = false;
    // Oldest first.
    std::vector<Waiter*> m_waiting TELVORA_GUARDED_BY(m_lock);
    // The thread that is inside. A thread compares it only with itself, and no other thread stores
    // that value: relaxed order suffices.
    std::atomic<std::thread::id> m_owner;
};

} // namespace telvora::detail
