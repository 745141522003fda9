#pragma once

#include <Telvora/Base/ThreadAnnotations.h>

#include <mutex>

namespace telvora::detail {

/// std::mutex with the annotations that clang's thread safety analysis reads. Not recursive.
class TELVORA_CAPABILITY("mutex") Mutex {
public:
    void lock() TELVORA_ACQUIRE() { m_mutex.lock(); }
    void unlock() TELVORA_RELEASE() { m_mutex.unlock(); }

    /// For std::condition_variable, which needs the plain type.
    std::mutex& native() { return m_mutex; }

private:
    std::mutex m_mutex;
};

/// Holds a Mutex for the length of a scope.
class TELVORA_SCOPED_CAPABILITY MutexLock {
public:
    explicit MutexLock(Mutex& mutex) TELVORA_ACQUIRE(mutex)
        : m_mutex(mutex)
    {
        m_mutex.lock();
    }
    ~MutexLock() TELVORA_RELEASE() { m_mutex.unlock(); }

    MutexLock(const MutexLock&) = delete;
    MutexLock& operator=(const MutexLock&) = delete;

private:
    Mutex& m_mutex;
};

} // namespace telvora::detail
