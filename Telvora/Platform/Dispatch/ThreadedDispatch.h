#pragma once

#include <Telvora/Base/Export.h>
#include <Telvora/Platform/Dispatch/StartThread.h>
#include <Telvora/Platform/DispatchQueue.h>

#include <chrono>
#include <functional>
#include <memory>
#include <string>

namespace telvora {

namespace detail {
struct DispatchShare;
class TimerThread;
} // namespace detail

/// Queues, timers and delays on the library's own threads: a pool that starts with the first block
/// and shrinks when idle, and one thread that waits for deadlines. In a process that submits
/// nothing only timers wake a thread. Written in standard C++; the system's platform supplies the
/// function that starts a thread.
///
/// Life: queues and timers may outlive the dispatch that made them. Blocks that wait or run when
/// the process ends are abandoned; the process does not wait for them.
///
/// Threads: every operation from any thread.
///
/// Failure: when the system refuses a thread, asynchronous blocks wait until the next one is
/// submitted, which tries again. Synchronous blocks run on their caller's thread as always.
///
/// Deliberate: in a forked child asynchronous blocks and ticks are dropped, and synchronous blocks
/// run at once.
class TELVORA_EXPORT ThreadedDispatch : public Dispatch {
public:
    /// Queues a block for the host's main thread. Must not run it within the call.
    using MainExecutor = std::function<void(Work)>;

    /// `startThread` starts the threads of the pool and the timer thread. Without `mainExecutor`,
    /// blocks for the main thread run on the pool.
    explicit ThreadedDispatch(StartThread startThread, MainExecutor mainExecutor = {});
    ~ThreadedDispatch() override;

    ThreadedDispatch(const ThreadedDispatch&) = delete;
    ThreadedDispatch& operator=(const ThreadedDispatch&) = delete;

    std::unique_ptr<DispatchQueue> makeConcurrentQueue(std::string label) override;
    std::unique_ptr<TimerSource> makeTimerSource() override;
    void globalAsyncAfter(std::chrono::nanoseconds delay, Work block) override;
    void mainAsync(Work block) override;
    bool wait(const detail::Signal& signal, std::chrono::nanoseconds longest) override;

    /// Waits until no asynchronous block waits or runs on any queue; false when `deadline` came
    /// first. Ignores delayed blocks and ticks that are not due yet, and blocks for the main
    /// thread. Must not be called from a block.
    bool waitUntilIdle(std::chrono::steady_clock::time_point deadline);

private:
    const std::shared_ptr<detail::DispatchShare> m_share;
    const std::shared_ptr<detail::TimerThread> m_timers;
    const MainExecutor m_mainExecutor;
};

} // namespace telvora
