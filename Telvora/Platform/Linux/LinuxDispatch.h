#pragma once

#include <Telvora/Platform/DispatchQueue.h>

#include <chrono>
#include <functional>
#include <memory>
#include <string>

namespace telvora {

class LinuxQueueList;

/// Queues, timers and delays on the library's own threads: a pool that starts with the first block
/// and shrinks when idle, and one thread that waits for deadlines. Both belong to the process and
/// are shared by all dispatches. A process that submits nothing has no wakeups but its timers'.
///
/// Life: queues and timers may outlive the dispatch that made them. What is under way when the
/// process ends is abandoned; nothing waits for it.
///
/// Threads: every operation from any thread.
///
/// Deliberate: in a forked child, where our threads do not exist, asynchronous blocks and ticks
/// never come. Synchronous blocks run on their caller's thread; where the fork cut short a barrier
/// in the parent's midst, they see what it left behind.
class TELVORA_EXPORT LinuxDispatch final : public Dispatch {
public:
    /// Has the host's main thread run a block, soon and without running it in the call.
    using MainExecutor = std::function<void(Work)>;

    /// Without `mainExecutor` the global queue stands in for the main thread.
    explicit LinuxDispatch(MainExecutor mainExecutor = {});
    ~LinuxDispatch() override;

    std::unique_ptr<DispatchQueue> makeConcurrentQueue(std::string label) override;
    std::unique_ptr<TimerSource> makeTimerSource() override;
    void globalAsync(Work block) override;
    void globalAsyncAfter(std::chrono::nanoseconds delay, Work block) override;
    void mainAsync(Work block) override;

    /// Waits until no asynchronous block waits or runs on any of this dispatch's queues or on the
    /// global one; false when `deadline` came first. Delays and ticks that are not due yet do not
    /// count, nor do blocks handed to the main thread. Not to be called from a block.
    bool waitUntilIdle(std::chrono::steady_clock::time_point deadline);

private:
    const std::shared_ptr<LinuxQueueList> m_queues;
    const MainExecutor m_mainExecutor;
};

} // namespace telvora
