#pragma once

#include <Telvora/Base/ForkedChild.h>
#include <Telvora/Base/Mutex.h>

#include <type_traits>
#include <utility>

namespace telvora::detail {

/// A value behind its own lock: copied in and out, or used with the lock held.
///
/// Threads: any. The lock is not recursive, and no code of the host may run while it is held.
/// Copying or destroying a closure runs such code, so keep a closure behind a shared_ptr.
///
/// Fork: in a forked child the lock may be held for ever and the value half changed, so neither is
/// touched: reading gives T(), and changing does nothing. A T without a default constructor must
/// not be read with get() there.
template<typename T> class Guarded {
public:
    constexpr Guarded()
        : m_value()
    {
    }
    explicit Guarded(T value)
        : m_value(std::move(value))
    {
    }

    Guarded(const Guarded&) = delete;
    Guarded& operator=(const Guarded&) = delete;

    /// A copy of the value.
    T get() const TELVORA_EXCLUDES(m_lock)
    {
        if constexpr (std::is_default_constructible_v<T>) {
            if (isForkedChild())
                return T();
        }
        const NoForkBeforeUse noFork;
        const MutexLock lock(m_lock);
        return m_value;
    }

    /// Replaces the value. The old one is destroyed after the lock is released.
    void set(T value) TELVORA_EXCLUDES(m_lock) { exchange(std::move(value)); }

    /// Replaces the value and returns the old one.
    T exchange(T value) TELVORA_EXCLUDES(m_lock)
    {
        if (!isForkedChild()) {
            const NoForkBeforeUse noFork;
            const MutexLock lock(m_lock);
            std::swap(m_value, value);
        }
        return value;
    }

    /// Calls `use` with the value while the lock is held, and returns its result. In a forked
    /// child `use` is not called and the result is value-initialised.
    template<typename Use> auto with(Use&& use) TELVORA_EXCLUDES(m_lock)
    {
        return apply(*this, std::forward<Use>(use));
    }
    template<typename Use> auto with(Use&& use) const TELVORA_EXCLUDES(m_lock)
    {
        return apply(*this, std::forward<Use>(use));
    }

private:
    template<typename Self, typename Use>
    static auto apply(Self& self, Use&& use) -> std::invoke_result_t<Use, decltype((self.m_value))>
    {
        using Result = std::invoke_result_t<Use, decltype((self.m_value))>;
        if (isForkedChild())
            return Result();
        const NoForkBeforeUse noFork;
        const MutexLock lock(self.m_lock);
        return std::forward<Use>(use)(self.m_value);
    }

    mutable Mutex m_lock;
    T m_value TELVORA_GUARDED_BY(m_lock);
};

} // namespace telvora::detail
