#include <Telvora/Platform/Dispatch/BriefLock.h>

#include <chrono>
#include <thread>

namespace telvora::detail {

namespace {

using namespace std::chrono_literals;

// Some microseconds.
constexpr int triesBeforeSleep = 150;

// Much shorter than the milliseconds for which the system may interrupt the owner.
constexpr auto shortSleep = 50us;

// Tells the processor that this thread only waits, so that the other thread on the same core runs
// faster. Does nothing on other processors.
void pauseProcessor()
{
#if defined(__x86_64__) || defined(__i386__)
    __builtin_ia32_pause();
#elif defined(__aarch64__)
    asm volatile("yield");
#endif
}

} // namespace

void BriefLock::lockSlowly()
{
    for (int attempt = 1;; ++attempt) {
        // Reads first: each exchange takes the cache line away from the owner.
        if (!m_isTaken.load(std::memory_order_relaxed)
            && !m_isTaken.exchange(true, std::memory_order_acquire))
            return;
        if (attempt < triesBeforeSleep)
            pauseProcessor();
        else
            std::this_thread::sleep_for(shortSleep);
    }
}

} // namespace telvora::detail
