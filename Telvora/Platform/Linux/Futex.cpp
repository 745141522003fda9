#include <Telvora/Platform/Linux/Futex.h>

#include <cerrno>

#include <linux/futex.h>
#include <sys/syscall.h>
#include <time.h>
#include <unistd.h>

namespace telvora {

static_assert(sizeof(FutexWord) == 4 && FutexWord::is_always_lock_free);

namespace {

long waitForChange(const FutexWord& word, std::uint32_t expected, const timespec* deadline)
{
    // The bitset form, because its time-out is a point of CLOCK_MONOTONIC and not a length.
    return ::syscall(SYS_futex, &word, FUTEX_WAIT_BITSET | FUTEX_PRIVATE_FLAG, expected, deadline,
        nullptr, FUTEX_BITSET_MATCH_ANY);
}

} // namespace

void futexWait(const FutexWord& word, std::uint32_t expected)
{
    waitForChange(word, expected, nullptr);
}

bool futexWaitUntil(
    const FutexWord& word, std::uint32_t expected, std::chrono::steady_clock::time_point deadline)
{
    const auto sinceStart = std::chrono::nanoseconds(deadline.time_since_epoch()).count();
    const timespec until { .tv_sec = static_cast<time_t>(sinceStart / 1'000'000'000),
        .tv_nsec = static_cast<long>(sinceStart % 1'000'000'000) };
    return waitForChange(word, expected, &until) == 0 || errno != ETIMEDOUT;
}

void futexWake(const FutexWord& word)
{
    ::syscall(SYS_futex, &word, FUTEX_WAKE | FUTEX_PRIVATE_FLAG, 1);
}

} // namespace telvora
