#pragma once

#include <Telvora/Base/ForkedChild.h>
#include <Telvora/Base/Mutex.h>

#include <type_traits>
#include <utility>

namespace telvora::detail {

/// A value behind a lock of its own: copied in and out, or worked on with the lock held.
///
/// Threads: any. The lock is not recursive, and nothing of the host's may run under it: what a
/// closure captured goes with its copy, so a closure is kept behind a shared_ptr.
///
/// Fork: in a forked child, where the lock may be held for ever and the value half changed, it
/// looks at neither: reading gives T(), and changing does nothing. A type without a T() is none
/// for what the library itself keeps.
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

    T get() const TELVORA_EXCLUDES(m_lock)
    {
        if constexpr (std::is_default_constructible_v<T>) {
            if (isForkedChild())
                return T();
        }
        const MutexLock lock(m_lock);
        return m_value;
    }

    /// The old value goes after the lock.
    void set(T value) TELVORA_EXCLUDES(m_lock) { exchange(std::move(value)); }

    /// Gives the old value back.
    T exchange(T value) TELVORA_EXCLUDES(m_lock)
    {
        if (!isForkedChild()) {
            const MutexLock lock(m_lock);
            std::swap(m_value, value);
        }
        return value;
    }

    /// Calls `work` with the value, the lock held, and gives its result back; without calling it,
    /// a value-initialised result in a forked child.
    template<typename Work> auto with(Work&& work) TELVORA_EXCLUDES(m_lock)
    {
        return apply(*this, std::forward<Work>(work));
    }
    template<typename Work> auto with(Work&& work) const TELVORA_EXCLUDES(m_lock)
    {
        return apply(*this, std::forward<Work>(work));
    }

private:
    template<typename Self, typename Work>
    static auto apply(Self& self, Work&& work)
        -> std::invoke_result_t<Work, decltype((self.m_value))>
    {
        using Result = std::invoke_result_t<Work, decltype((self.m_value))>;
        if (isForkedChild())
            return Result();
        const MutexLock lock(self.m_lock);
        return std::forward<Work>(work)(self.m_value);
    }

    mutable Mutex m_lock;
    T m_value TELVORA_GUARDED_BY(m_lock);
};

} // namespace telvora::detail
