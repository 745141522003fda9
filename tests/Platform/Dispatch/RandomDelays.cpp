// Preloaded into a program (LD_PRELOAD), this starts threads late and delays them at their mutexes,
// both at random, so that faults that need an unlikely order of two threads show more often.
//
// The sanitizers call these functions from within their own, so nothing here may come back to
// them: time and sleep are plain system calls, and statics need no guard.

#include <atomic>
#include <cstdint>
#include <ctime>
#include <dlfcn.h>
#include <memory>
#include <pthread.h>
#include <sys/syscall.h>
#include <unistd.h>

namespace {

// xorshift64. One for each thread, so that drawing a number orders no threads.
std::uint64_t randomNumber()
{
    static thread_local std::uint64_t state = 0;
    if (state == 0) {
        timespec now {};
        syscall(SYS_clock_gettime, CLOCK_MONOTONIC, &now);
        const auto thread = static_cast<std::uint64_t>(syscall(SYS_gettid));
        state = (thread << 32 | static_cast<std::uint64_t>(now.tv_nsec)) ^ 88172645463325252;
    }
    state ^= state << 13;
    state ^= state >> 7;
    state ^= state << 17;
    return state;
}

bool happensOnceIn(std::uint64_t times)
{
    return randomNumber() % times == 0;
}

void sleepFor(std::uint64_t microseconds)
{
    const timespec time { .tv_sec = 0, .tv_nsec = static_cast<long>(microseconds * 1'000) };
    syscall(SYS_nanosleep, &time, nullptr);
}

// Mostly lets another thread run; sometimes keeps the thread out as long as a busy machine does.
void delayAtMutex()
{
    if (!happensOnceIn(60))
        return;
    if (happensOnceIn(20))
        sleepFor(2'000 + randomNumber() % 4'000);
    else if (happensOnceIn(3))
        sleepFor(50 + randomNumber() % 300);
    else
        syscall(SYS_sched_yield);
}

struct ThreadStart {
    void* (*function)(void*);
    void* argument;
};

void* startLate(void* argument)
{
    const ThreadStart start = *std::unique_ptr<ThreadStart>(static_cast<ThreadStart*>(argument));
    if (!happensOnceIn(4))
        sleepFor(happensOnceIn(3) ? 15'000 : 300 + randomNumber() % 2'700);
    return start.function(start.argument);
}

template<typename Function> Function* nextFunction(std::atomic<Function*>& known, const char* name)
{
    Function* function = known.load(std::memory_order_relaxed);
    if (!function) {
        function = reinterpret_cast<Function*>(dlsym(RTLD_NEXT, name));
        known.store(function, std::memory_order_relaxed);
    }
    return function;
}

using CreateThread = int(pthread_t*, const pthread_attr_t*, void* (*)(void*), void*);
using UseMutex = int(pthread_mutex_t*);

constinit std::atomic<CreateThread*> nextCreate;
constinit std::atomic<UseMutex*> nextLock;
constinit std::atomic<UseMutex*> nextUnlock;

} // namespace

#pragma GCC visibility push(default)

int pthread_create(
    pthread_t* thread, const pthread_attr_t* attributes, void* (*function)(void*), void* argument)
{
    auto start = std::make_unique<ThreadStart>(ThreadStart { function, argument });
    auto* const create = nextFunction(nextCreate, "pthread_create");
    const int error = create(thread, attributes, startLate, start.get());
    if (error != 0)
        return error;
    static_cast<void>(start.release()); // The thread's now.
    if (happensOnceIn(3))
        sleepFor(2'000);
    return 0;
}

int pthread_mutex_lock(pthread_mutex_t* mutex) noexcept
{
    auto* const lock = nextFunction(nextLock, "pthread_mutex_lock");
    delayAtMutex();
    return lock(mutex);
}

int pthread_mutex_unlock(pthread_mutex_t* mutex) noexcept
{
    auto* const unlock = nextFunction(nextUnlock, "pthread_mutex_unlock");
    const int error = unlock(mutex);
    delayAtMutex();
    return error;
}

#pragma GCC visibility pop
