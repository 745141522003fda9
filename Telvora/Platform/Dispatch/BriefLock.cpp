#include <Telvora/Platform/Dispatch/BriefLock.h>

namespace telvora::detail {

namespace {

// About a microsecond.
constexpr int triesBeforeSleep = 150;

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
    for (int attempt = 0; attempt < triesBeforeSleep; ++attempt) {
        pauseProcessor();
        std::uint32_t expected = isFree;
        if (m_state.load(std::memory_order_relaxed) == isFree
            && m_state.compare_exchange_weak(
                expected, isTaken, std::memory_order_acquire, std::memory_order_relaxed))
            return;
    }
    // From here on the state stays `isAwaited`, also when this thread gets the lock: it does not
    // know whether other threads sleep.
    while (m_state.exchange(isAwaited, std::memory_order_acquire) != isFree)
        m_state.wait(isAwaited, std::memory_order_relaxed);
}

} // namespace telvora::detail
