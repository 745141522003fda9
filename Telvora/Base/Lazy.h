#pragma once

#include <Telvora/Base/ForkedChild.h>
#include <Telvora/Base/Mutex.h>
#include <Telvora/Base/ProcessState.h>

#include <atomic>
#include <type_traits>

namespace telvora::detail {

/// An object that the first get() makes, while other callers wait. It is never destroyed, because
/// our threads and late calls of the host still use it while the process ends.
///
/// Life: make it static and constinit. Then the compiler adds no guard, which a forked child could
/// inherit locked for ever.
/// Threads: any. `make` must not ask for the object that it makes: it would wait for itself. What
/// `make` throws reaches the caller, and the next call tries again.
/// Tests: after ProcessState::renewAll() the next get() makes another object, and the old one is
/// kept. If it has a member function retire(), that is called first: let go there of what the host
/// gave.
/// Fork: a forked child without the object makes its own one. That object is inert, since all its
/// members are.
// Without a destructor, which would run while the process ends; nothing deletes one.
// NOLINTNEXTLINE(cppcoreguidelines-virtual-class-destructor)
template<typename T> class Lazy final : ProcessState {
public:
    constexpr Lazy() = default;

    /// The object. `make` returns a pointer to a new one.
    template<typename Make> T& get(Make&& make) TELVORA_EXCLUDES(m_lock)
    {
        if (T* object = m_object.load(std::memory_order_acquire))
            return *object;
        return makeOnce(make);
    }

private:
    // Apart, so that get() saves no registers when the object is there.
    template<typename Make> [[gnu::noinline]] T& makeOnce(Make& make) TELVORA_EXCLUDES(m_lock)
    {
        if (isForkedChild())
            return publish(make());
        const NoForkBeforeUse noFork;
        const MutexLock lock(m_lock);
        T* object = m_object.load(std::memory_order_relaxed);
        return object ? *object : publish(make());
    }

    // Pairs with the acquire above: a thread that sees the pointer sees all that `make` wrote.
    T& publish(T* object)
    {
        join();
        m_object.store(object, std::memory_order_release);
        return *object;
    }

    void retire() override
    {
        if constexpr (requires(T & object) { object.retire(); }) {
            if (T* object = m_object.load(std::memory_order_acquire))
                object->retire();
        }
    }

    void renew() override
    {
        if (const T* object = m_object.exchange(nullptr))
            keep(object);
    }

    std::atomic<T*> m_object { nullptr };
    Mutex m_lock;
};

} // namespace telvora::detail
