#pragma once

#include <Telvora/Platform/DispatchQueue.h>
#include <Telvora/Platform/TimerSource.h>

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

namespace telvora {

/// What every Dispatch promises, the real and the simulated one.
///
/// `Subject` says how the dispatch under test is driven:
///     Dispatch& dispatch();
///     /// Returns when all that was queued has run, and what that queued, and so on.
///     void settle();
///     /// Lets `time` pass, deadlines in it included, and then settles.
///     void pass(std::chrono::milliseconds time);
template<typename Subject> class DispatchContract : public testing::Test {
protected:
    using Milliseconds = std::chrono::milliseconds;

    /// Long enough that a busy machine does not confuse one tick with the next.
    static constexpr Milliseconds interval { 40 };

    Dispatch& dispatch() { return subject.dispatch(); }

    std::unique_ptr<TimerSource> makeCountingTimer()
    {
        auto timer = dispatch().makeTimerSource();
        timer->setHandler([this] { ++ticks; });
        return timer;
    }

    std::atomic<int> ticks { 0 };
    Subject subject;
    std::unique_ptr<DispatchQueue> queue = dispatch().makeConcurrentQueue("contract");
};

TYPED_TEST_SUITE_P(DispatchContract);

TYPED_TEST_P(DispatchContract, BarriersRunInTheOrderOfSubmission)
{
    std::vector<int> order;

    for (int i = 0; i < 1000; ++i)
        this->queue->barrierAsync([&order, i] { order.push_back(i); });
    this->subject.settle();

    ASSERT_EQ(order.size(), 1000u);
    for (int i = 0; i < 1000; ++i)
        EXPECT_EQ(order[static_cast<std::size_t>(i)], i);
}

TYPED_TEST_P(DispatchContract, ABarrierMadeInPlaceRunsInItsTurn)
{
    struct Note {
        std::vector<int>& order;
        std::unique_ptr<int> number;

        void operator()() { order.push_back(*number); }
    };
    std::vector<int> order;

    this->queue->barrierAsync([&] { order.push_back(1); });
    this->queue->template emplaceBarrier<Note>(order, std::make_unique<int>(2));
    this->queue->barrierAsync([&] { order.push_back(3); });
    this->subject.settle();

    EXPECT_EQ(order, (std::vector<int> { 1, 2, 3 }));
}

TYPED_TEST_P(DispatchContract, ABarrierThatCannotBeMadeIsNotSubmitted)
{
    struct Unmakeable {
        explicit Unmakeable(int) { throw std::runtime_error("no"); }
        void operator()() { }
    };
    bool hasRun = false;

    EXPECT_THROW(this->queue->template emplaceBarrier<Unmakeable>(0), std::runtime_error);
    this->queue->barrierSync([&] { hasRun = true; });

    EXPECT_TRUE(hasRun);
}

TYPED_TEST_P(DispatchContract, SyncSeesTheBarriersBeforeIt)
{
    int value = 0;
    int seen = -1;

    this->queue->barrierAsync([&] { value = 7; });
    this->queue->sync([&] { seen = value; });

    EXPECT_EQ(seen, 7);
}

TYPED_TEST_P(DispatchContract, SyncOnAQueueAtRestRunsBeforeItReturns)
{
    bool hasRun = false;

    this->queue->sync([&] { hasRun = true; });

    EXPECT_TRUE(hasRun);
}

TYPED_TEST_P(DispatchContract, BarrierSyncWaitsForAllThatWasSubmittedBefore)
{
    int ran = 0;
    int seen = -1;

    for (int i = 0; i < 10; ++i)
        this->queue->barrierAsync([&] { ++ran; });
    this->queue->barrierSync([&] { seen = ran; });

    EXPECT_EQ(seen, 10);
}

TYPED_TEST_P(DispatchContract, ABlockMaySubmitToItsOwnQueue)
{
    std::vector<int> order;

    this->queue->barrierAsync([&] {
        this->queue->barrierAsync([&] { order.push_back(3); });
        order.push_back(1);
    });
    this->queue->barrierAsync([&] { order.push_back(2); });
    this->subject.settle();

    ASSERT_EQ(order.size(), 3u);
    EXPECT_EQ(order.back() + order[1] + order[0], 6);
    EXPECT_EQ(order.front(), 1);
}

TYPED_TEST_P(DispatchContract, ABlockMaySyncWithAnotherQueue)
{
    const auto other = this->dispatch().makeConcurrentQueue("other");
    int value = 0;
    std::vector<int> seen;

    for (int i = 1; i <= 100; ++i) {
        this->queue->barrierAsync([&, i] {
            other->sync([&] { seen.push_back(value); });
            other->barrierAsync([&, i] { value = i; });
        });
    }
    this->subject.settle();

    ASSERT_EQ(seen.size(), 100u);
    for (int i = 0; i < 100; ++i)
        EXPECT_EQ(seen[static_cast<std::size_t>(i)], i);
    EXPECT_EQ(value, 100);
}

TYPED_TEST_P(DispatchContract, ReadersOfTwoQueuesMayNest)
{
    const auto other = this->dispatch().makeConcurrentQueue("other");
    int value = 0;

    other->barrierAsync([&] { value = 1; });
    this->queue->sync([&] { other->sync([&] { value += 1; }); });

    EXPECT_EQ(value, 2);
}

TYPED_TEST_P(DispatchContract, ASyncMayRunAnotherQueuesBlockThatSyncsWithTheFirstQueue)
{
    const auto other = this->dispatch().makeConcurrentQueue("other");
    int ran = 0;

    this->queue->sync([&] {
        other->barrierAsync([&] { this->queue->sync([&] { ++ran; }); });
        other->sync([&] { ++ran; });
    });

    EXPECT_EQ(ran, 2);
}

TYPED_TEST_P(DispatchContract, AnExceptionOfASynchronousBlockReachesTheCaller)
{
    const auto fail = [] { throw std::runtime_error("no"); };

    EXPECT_THROW(this->queue->sync(fail), std::runtime_error);
    EXPECT_THROW(this->queue->barrierSync(fail), std::runtime_error);

    bool hasRun = false;
    this->queue->barrierSync([&] { hasRun = true; });
    EXPECT_TRUE(hasRun);
}

TYPED_TEST_P(DispatchContract, AnExceptionOfAnAsynchronousBlockIsSwallowed)
{
    bool hasRun = false;

    this->queue->barrierAsync([] { throw std::runtime_error("no"); });
    this->dispatch().globalAsyncAfter(
        std::chrono::seconds(0), [] { throw std::runtime_error("no"); });
    this->queue->barrierAsync([&] { hasRun = true; });
    this->subject.settle();

    EXPECT_TRUE(hasRun);
}

TYPED_TEST_P(DispatchContract, DestroyingAQueueRunsItsPendingBlocks)
{
    int ran = 0;
    DispatchQueue& itself = *this->queue;

    for (int i = 0; i < 100; ++i) {
        itself.barrierAsync([&] {
            ++ran;
            itself.barrierAsync([&] { ++ran; });
        });
    }
    this->queue.reset();

    EXPECT_EQ(ran, 200);
}

TYPED_TEST_P(DispatchContract, ABlockMayDestroyItsOwnQueue)
{
    int ran = 0;
    DispatchQueue& itself = *this->queue;

    itself.barrierAsync([&] {
        itself.barrierAsync([&] { ++ran; });
        this->queue.reset();
        ++ran;
    });
    this->subject.settle();

    EXPECT_EQ(ran, 2);
}

TYPED_TEST_P(DispatchContract, ABlockIsDestroyedAfterItsRun)
{
    auto witness = std::make_shared<int>(0);

    this->queue->barrierAsync([witness] {});
    this->dispatch().globalAsyncAfter(std::chrono::seconds(0), [witness] {});
    this->subject.settle();

    EXPECT_EQ(witness.use_count(), 1);
}

TYPED_TEST_P(DispatchContract, BlocksOfTheGlobalQueueRun)
{
    std::atomic<int> ran { 0 };

    for (int i = 0; i < 100; ++i)
        this->dispatch().globalAsyncAfter(std::chrono::seconds(0), [&] { ++ran; });
    this->subject.settle();

    EXPECT_EQ(ran, 100);
}

TYPED_TEST_P(DispatchContract, ADelayedBlockRunsNoEarlierThanItsDelay)
{
    std::atomic<int> ran { 0 };

    this->dispatch().globalAsyncAfter(this->interval * 4, [&] { ++ran; });
    this->subject.pass(this->interval);
    EXPECT_EQ(ran, 0);

    this->subject.pass(this->interval * 4);
    EXPECT_EQ(ran, 1);
}

TYPED_TEST_P(DispatchContract, DelayedBlocksRunInTheOrderOfTheirDeadlines)
{
    std::vector<int> order;

    const auto note = [&](int number) {
        return [this, &order, number] {
            this->queue->barrierAsync([&order, number] { order.push_back(number); });
        };
    };
    this->dispatch().globalAsyncAfter(this->interval * 3, note(3));
    this->dispatch().globalAsyncAfter(this->interval * 1, note(1));
    this->dispatch().globalAsyncAfter(this->interval * 2, note(2));
    this->subject.pass(this->interval * 4);

    EXPECT_EQ(order, (std::vector<int> { 1, 2, 3 }));
}

TYPED_TEST_P(DispatchContract, ABlockForTheMainThreadRuns)
{
    std::atomic<int> ran { 0 };

    this->dispatch().mainAsync([&] { ++ran; });
    this->subject.settle();

    EXPECT_EQ(ran, 1);
}

TYPED_TEST_P(DispatchContract, ATimerIsMadeSuspended)
{
    const auto timer = this->makeCountingTimer();

    timer->schedule(this->interval);
    this->subject.pass(this->interval * 3);

    EXPECT_EQ(this->ticks, 0);
}

TYPED_TEST_P(DispatchContract, TheFirstTickComesOneIntervalAfterTheSchedule)
{
    const auto timer = this->makeCountingTimer();

    timer->schedule(this->interval * 4);
    timer->resume();
    this->subject.pass(this->interval);
    EXPECT_EQ(this->ticks, 0);

    this->subject.pass(this->interval * 4);
    EXPECT_EQ(this->ticks, 1);
}

TYPED_TEST_P(DispatchContract, ATimerWithoutAScheduleDoesNotTick)
{
    const auto timer = this->makeCountingTimer();

    timer->resume();
    this->subject.pass(this->interval * 2);

    EXPECT_EQ(this->ticks, 0);
}

TYPED_TEST_P(DispatchContract, TicksMissedWhileSuspendedComeAsOne)
{
    const auto timer = this->makeCountingTimer();

    timer->schedule(this->interval * 2);
    this->subject.pass(this->interval * 7);
    EXPECT_EQ(this->ticks, 0);
    timer->resume();
    this->subject.settle();
    EXPECT_EQ(this->ticks, 1);

    this->subject.pass(this->interval * 2);
    EXPECT_EQ(this->ticks, 2);
}

TYPED_TEST_P(DispatchContract, NothingTicksWhileSuspended)
{
    const auto timer = this->makeCountingTimer();

    timer->schedule(this->interval);
    timer->resume();
    this->subject.pass(this->interval * 2);
    timer->suspend();
    this->subject.settle();
    const int ticksWhenSuspended = this->ticks;
    this->subject.pass(this->interval * 4);

    EXPECT_GT(ticksWhenSuspended, 0);
    EXPECT_EQ(this->ticks, ticksWhenSuspended);
}

TYPED_TEST_P(DispatchContract, SuspensionsCount)
{
    const auto timer = this->makeCountingTimer();

    timer->schedule(this->interval);
    timer->suspend();
    timer->resume();
    this->subject.pass(this->interval * 2);
    EXPECT_EQ(this->ticks, 0);

    timer->resume();
    this->subject.settle();
    EXPECT_GT(this->ticks, 0);
}

TYPED_TEST_P(DispatchContract, AResumeTooManyIsIgnored)
{
    const auto timer = this->makeCountingTimer();

    timer->resume();
    timer->resume();
    timer->suspend();
    timer->schedule(this->interval);
    this->subject.pass(this->interval * 2);

    EXPECT_EQ(this->ticks, 0);
}

TYPED_TEST_P(DispatchContract, ANewScheduleReplacesTheOldOne)
{
    const auto timer = this->makeCountingTimer();

    timer->resume();
    timer->schedule(this->interval);
    timer->schedule(this->interval * 100);
    this->subject.pass(this->interval * 3);

    EXPECT_EQ(this->ticks, 0);
}

TYPED_TEST_P(DispatchContract, ANewHandlerTakesEffectWithTheNextTick)
{
    const auto timer = this->makeCountingTimer();
    std::atomic<int> ticksOfNewHandler { 0 };

    timer->schedule(this->interval);
    timer->setHandler([&] { ++ticksOfNewHandler; });
    timer->resume();
    this->subject.pass(this->interval * 3);

    EXPECT_EQ(this->ticks, 0);
    EXPECT_GT(ticksOfNewHandler, 0);
}

TYPED_TEST_P(DispatchContract, ADestroyedTimerTicksNoMore)
{
    auto timer = this->makeCountingTimer();

    timer->schedule(this->interval);
    timer->resume();
    timer.reset();
    this->subject.pass(this->interval * 3);

    EXPECT_EQ(this->ticks, 0);
}

TYPED_TEST_P(DispatchContract, AHandlerMayDestroyItsTimer)
{
    auto timer = this->dispatch().makeTimerSource();

    timer->setHandler([&] {
        ++this->ticks;
        timer.reset();
    });
    timer->schedule(this->interval);
    timer->resume();
    this->subject.pass(this->interval * 4);

    EXPECT_EQ(this->ticks, 1);
    EXPECT_FALSE(timer);
}

TYPED_TEST_P(DispatchContract, AHandlerThatThrowsTicksOn)
{
    const auto timer = this->dispatch().makeTimerSource();

    timer->setHandler([this] {
        ++this->ticks;
        throw std::runtime_error("no");
    });
    timer->schedule(this->interval);
    timer->resume();
    this->subject.pass(this->interval * 4);

    EXPECT_GE(this->ticks, 2);
}

REGISTER_TYPED_TEST_SUITE_P(DispatchContract, BarriersRunInTheOrderOfSubmission,
    ABarrierMadeInPlaceRunsInItsTurn, ABarrierThatCannotBeMadeIsNotSubmitted,
    SyncSeesTheBarriersBeforeIt, SyncOnAQueueAtRestRunsBeforeItReturns,
    BarrierSyncWaitsForAllThatWasSubmittedBefore, ABlockMaySubmitToItsOwnQueue,
    ABlockMaySyncWithAnotherQueue, ReadersOfTwoQueuesMayNest,
    ASyncMayRunAnotherQueuesBlockThatSyncsWithTheFirstQueue,
    AnExceptionOfASynchronousBlockReachesTheCaller, AnExceptionOfAnAsynchronousBlockIsSwallowed,
    DestroyingAQueueRunsItsPendingBlocks, ABlockMayDestroyItsOwnQueue, ABlockIsDestroyedAfterItsRun,
    BlocksOfTheGlobalQueueRun, ADelayedBlockRunsNoEarlierThanItsDelay,
    DelayedBlocksRunInTheOrderOfTheirDeadlines, ABlockForTheMainThreadRuns, ATimerIsMadeSuspended,
    TheFirstTickComesOneIntervalAfterTheSchedule, ATimerWithoutAScheduleDoesNotTick,
    TicksMissedWhileSuspendedComeAsOne, NothingTicksWhileSuspended, SuspensionsCount,
    AResumeTooManyIsIgnored, ANewScheduleReplacesTheOldOne, ANewHandlerTakesEffectWithTheNextTick,
    ADestroyedTimerTicksNoMore, AHandlerMayDestroyItsTimer, AHandlerThatThrowsTicksOn);

} // namespace telvora
