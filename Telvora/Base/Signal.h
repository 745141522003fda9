#pragma once

#include <Telvora/Base/Export.h>
#include <Telvora/Base/Mutex.h>

#include <chrono>
#include <condition_variable>

namespace telvora::detail {

/// Something that happens once, for which threads can wait.
///
/// Life: shared by those who wait and the one who sets it.
/// Threads: any.
class TELVORA_EXPORT Signal {
public:
    /// It has happened. A second call does nothing.
    void set() noexcept TELVORA_EXCLUDES(m_lock);

    bool isSet() const TELVORA_EXCLUDES(m_lock);

    /// Returns as soon as it is set; false when `longest` has passed first.
    bool waitFor(std::chrono::nanoseconds longest) const TELVORA_EXCLUDES(m_lock);

private:
    mutable Mutex m_lock;
    mutable std::condition_variable_any m_change;
    bool m_isSet TELVORA_GUARDED_BY(m_lock) = false;
};

/// While one exists on the calling thread, a flush that is called on it does not wait: the thread
/// is in a closure of the host that the library calls in the middle of its work, and that work
/// would wait for the flush. Scopes may be nested.
class TELVORA_EXPORT NoWaitScope {
public:
    NoWaitScope() noexcept;
    ~NoWaitScope();

    NoWaitScope(const NoWaitScope&) = delete;
    NoWaitScope& operator=(const NoWaitScope&) = delete;

    /// Whether the calling thread is inside one.
    static bool isInside() noexcept;
};

} // namespace telvora::detail
