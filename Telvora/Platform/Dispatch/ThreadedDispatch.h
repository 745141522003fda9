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

/// Queues, timers and delays on threads of the library's own: a pool that starts with the first
/// block and shrinks when idle, and one thread that waits for deadlines. A process that submits
/// nothing has no wakeups but its timers'. Standard C++ but for the way a thread is started, which
/// the system's platform supplies.
///
/// Life: queues and timers may outlive the dispatch that made them. What is under way when the
/// process ends is abandoned; nothing waits for it.
///
/// Threads: every operation from any thread.
///
/// Failure: where the system refuses a thread, asynchronous blocks wait until the next one is
/// submitted; synchronous blocks run all the same, on their caller's thread.
///
/// Deliberate: in a forked child asynchronous blocks and ticks are dropped, and synchronous blocks
/// run at once.
class TELVORA_EXPORT ThreadedDispatch : public Dispatch {
public:
    /// Has the host's main thread run a block, soon and without running it in the call.
    using MainExecutor = std::function<void(Work)>;

    /// Without `mainExecutor` the pool stands in for the main thread.
    explicit ThreadedDispatch(StartThread startThread, MainExecutor mainExecutor = {});
    ~ThreadedDispatch() override;

    ThreadedDispatch(const ThreadedDispatch&) = delete;
    ThreadedDispatch& operator=(const ThreadedDispatch&) = delete;

    std::unique_ptr<DispatchQueue> makeConcurrentQueue(std::string label) override;
    std::unique_ptr<TimerSource> makeTimerSource() override;
    void globalAsyncAfter(std::chrono::nanoseconds delay, Work block) override;
    void mainAsync(Work block) override;

    /// Waits until no asynchronous block waits or runs on any queue; false when `deadline` came
    /// first. Delays and ticks that are not due yet do not count, nor do blocks handed to the main
    /// thread. Not to be called from a block.
    bool waitUntilIdle(std::chrono::steady_clock::time_point deadline);

private:
    const std::shared_ptr<detail::DispatchShare> m_share;
    const std::shared_ptr<detail::TimerThread> m_timers;
    const MainExecutor m_mainExecutor;
};

} // namespace telvora
