#pragma once

#include <Telvora/Base/ForkedChild.h>
#include <Telvora/Base/Mutex.h>

#include <atomic>
#include <memory>
#include <utility>

namespace telvora::detail {

/// A value that the first get() computes, while other callers wait. Later calls read it without a
/// lock. It can also be set; a value that is set before the first get() is never computed.
///
/// Life: make it part of an object behind a Lazy. A value that set() replaces is kept to the end of
/// the process, since another thread may be reading it: use this for values that are set a few
/// times at most. Threads: any. `compute` must not read the value it computes: it would wait for
/// itself. Fork: a forked child reads what was computed before the fork, and T() where nothing was.
template<typename T> class OnceValue {
public:
    constexpr OnceValue() = default;
    OnceValue(const OnceValue&) = delete;
    OnceValue& operator=(const OnceValue&) = delete;

    template<typename Compute> T get(Compute&& compute) TELVORA_EXCLUDES(m_lock)
    {
        if (const Node* node = m_current.load(std::memory_order_acquire))
            return node->value;
        if (isForkedChild())
            return T();
        // `compute` may ask a platform of the host's.
        const LockedCallScope locked;
        const MutexLock lock(m_lock);
        if (!m_newest)
            publish(std::forward<Compute>(compute)());
        return m_newest->value;
    }

    void set(T value) TELVORA_EXCLUDES(m_lock)
    {
        if (isForkedChild())
            return;
        const NoForkBeforeUse noFork;
        const MutexLock lock(m_lock);
        publish(std::move(value));
    }

private:
    struct Node {
        T value;
        std::unique_ptr<const Node> previous;
    };

    void publish(T value) TELVORA_REQUIRES(m_lock)
    {
        m_newest = std::make_unique<const Node>(Node { std::move(value), std::move(m_newest) });
        m_current.store(m_newest.get(), std::memory_order_release);
    }

    std::atomic<const Node*> m_current { nullptr };
    Mutex m_lock;
    std::unique_ptr<const Node> m_newest TELVORA_GUARDED_BY(m_lock);
};

} // namespace telvora::detail
