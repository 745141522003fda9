#pragma once

#include <Telvora/Base/ForkedChild.h>
#include <Telvora/Base/Mutex.h>

#include <atomic>
#include <type_traits>

namespace telvora::detail {

/// An object that its first user makes, while others wait for it, and that is never destroyed:
/// threads of ours, and late calls of the host's, still use it while the process ends.
///
/// Life: make it static and constinit. Then reaching it takes no guard of the compiler's, which a
/// forked child could find taken for ever.
/// Threads: any. `make` must not ask for the object it makes: it would wait for itself. What it
/// throws reaches the caller, and the next one tries again.
/// Fork: a forked child without the object makes one of its own, inert like all that it is made of.
template<typename T> class Lazy {
public:
    constexpr Lazy() = default;
    Lazy(const Lazy&) = delete;
    Lazy& operator=(const Lazy&) = delete;

    /// `make` gives a pointer to a new object.
    template<typename Make> T& get(Make&& make) TELVORA_EXCLUDES(m_lock)
    {
        if (T* object = m_object.load(std::memory_order_acquire))
            return *object;
        if (isForkedChild())
            return publish(make());
        const MutexLock lock(m_lock);
        T* object = m_object.load(std::memory_order_relaxed);
        return object ? *object : publish(make());
    }

private:
    // The acquire above sees all that `make` wrote.
    T& publish(T* object)
    {
        m_object.store(object, std::memory_order_release);
        return *object;
    }

    std::atomic<T*> m_object { nullptr };
    Mutex m_lock;
};

} // namespace telvora::detail
