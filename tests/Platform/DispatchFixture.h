#pragma once

#include <Telvora/Platform/DispatchQueue.h>
#include <Telvora/Platform/TimerSource.h>

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <memory>
#include <utility>
#include <vector>

namespace telvora {

/// The fixture of the contracts of Dispatch, DispatchQueue and TimerSource. What blocks and
/// handlers touch are members of it, and it ends only after all of them have run: a block never
/// captures a variable of the case.
///
/// `Subject` says how the dispatch under test is driven:
///     Dispatch& dispatch();
///     /// The steady time of the dispatch.
///     std::chrono::steady_clock::time_point now();
///     /// Returns when all that was queued has run, and what that queued, and so on.
///     void settle();
///     /// Lets at least `time` pass. What has become due may run a little later.
///     void pass(std::chrono::milliseconds time);
///     /// Lets time pass until `condition` is true. Only the simulated one gives up.
///     void passUntil(FunctionRef<bool()> condition);
template<typename Subject> class DispatchFixture : public testing::Test {
protected:
    using Instant = std::chrono::steady_clock::time_point;

    static constexpr std::chrono::milliseconds interval { 20 };

    void TearDown() override
    {
        timer.reset();
        subject.passUntil([this] { return waitingBlocks == 0; });
        subject.settle();
    }

    Dispatch& dispatch() { return subject.dispatch(); }

    /// Dispatch::globalAsyncAfter() of a block for which the fixture waits.
    template<typename Block> void runAfter(std::chrono::nanoseconds delay, Block block)
    {
        ++waitingBlocks;
        dispatch().globalAsyncAfter(delay, [this, block = std::move(block)]() mutable {
            block();
            --waitingBlocks;
        });
    }

    void passUntilTicks(int count)
    {
        subject.passUntil([this, count] { return ticks >= count; });
    }

    std::atomic<int> waitingBlocks { 0 };
    std::atomic<int> ticks { 0 };
    std::atomic<int> ran { 0 };
    std::atomic<int> early { 0 };
    std::vector<int> order;
    std::vector<Instant> instants;
    int value = 0;
    Subject subject;
    std::unique_ptr<DispatchQueue> queue = dispatch().makeConcurrentQueue("contract");
    std::unique_ptr<DispatchQueue> other = dispatch().makeConcurrentQueue("other");
    std::unique_ptr<TimerSource> timer = dispatch().makeTimerSource();
};

} // namespace telvora
