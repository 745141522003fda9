#pragma once

#include <tests/Platform/DispatchFixture.h>

#include <gtest/gtest.h>

#include <chrono>
#include <memory>
#include <stdexcept>
#include <vector>

namespace telvora {

/// What every Dispatch promises of its queues and delays, the real and the simulated one.
template<typename Subject> class DispatchContract : public DispatchFixture<Subject> {
};

TYPED_TEST_SUITE_P(DispatchContract);

TYPED_TEST_P(DispatchContract, BarriersRunInTheOrderOfSubmission)
{
    for (int i = 0; i < 1000; ++i)
        this->queue->barrierAsync([this, i] { this->order.push_back(i); });
    this->subject.settle();

    ASSERT_EQ(this->order.size(), 1000u);
    for (int i = 0; i < 1000; ++i)
        EXPECT_EQ(this->order[static_cast<std::size_t>(i)], i);
}

TYPED_TEST_P(DispatchContract, ABarrierMadeInPlaceRunsInItsTurn)
{
    struct Note {
        std::vector<int>& order;
        std::unique_ptr<int> number;

        void operator()() { order.push_back(*number); }
    };

    this->queue->barrierAsync([this] { this->order.push_back(1); });
    this->queue->template emplaceBarrier<Note>(this->order, std::make_unique<int>(2));
    this->queue->barrierAsync([this] { this->order.push_back(3); });
    this->subject.settle();

    EXPECT_EQ(this->order, (std::vector<int> { 1, 2, 3 }));
}

TYPED_TEST_P(DispatchContract, ABarrierThatCannotBeMadeIsNotSubmitted)
{
    struct Unmakeable {
        explicit Unmakeable(int) { throw std::runtime_error("no"); }
        void operator()() { }
    };

    EXPECT_THROW(this->queue->template emplaceBarrier<Unmakeable>(0), std::runtime_error);
    this->queue->barrierSync([this] { ++this->ran; });

    EXPECT_EQ(this->ran, 1);
}

TYPED_TEST_P(DispatchContract, SyncSeesTheBarriersBeforeIt)
{
    int seen = -1;

    this->queue->barrierAsync([this] { this->value = 7; });
    this->queue->sync([&] { seen = this->value; });

    EXPECT_EQ(seen, 7);
}

TYPED_TEST_P(DispatchContract, SyncOnAQueueAtRestRunsBeforeItReturns)
{
    this->queue->sync([this] { ++this->ran; });

    EXPECT_EQ(this->ran, 1);
}

TYPED_TEST_P(DispatchContract, ABarrierNowOrLaterRunsBehindWhatWasSubmittedBefore)
{
    for (int i = 0; i < 1000; i += 2) {
        this->queue->barrierAsync([this, i] { this->order.push_back(i); });
        this->queue->barrierNowOrLater([this, i] { this->order.push_back(i + 1); });
    }
    this->subject.settle();

    ASSERT_EQ(this->order.size(), 1000u);
    for (int i = 0; i < 1000; ++i)
        EXPECT_EQ(this->order[static_cast<std::size_t>(i)], i);
}

TYPED_TEST_P(DispatchContract, ABlockMaySubmitABarrierNowOrLaterToItsOwnQueue)
{
    this->queue->barrierAsync([this] {
        this->queue->barrierNowOrLater([this] { this->order.push_back(2); });
        this->order.push_back(1);
    });
    this->subject.settle();
    this->queue->sync([this] {
        this->queue->barrierNowOrLater([this] { this->order.push_back(4); });
        this->order.push_back(3);
    });
    this->subject.settle();

    EXPECT_EQ(this->order, (std::vector<int> { 1, 2, 3, 4 }));
}

TYPED_TEST_P(DispatchContract, AnExceptionOfABarrierNowOrLaterIsDropped)
{
    this->queue->barrierNowOrLater([] { throw std::runtime_error("no"); });
    this->queue->barrierSync([this] { ++this->ran; });

    EXPECT_EQ(this->ran, 1);
}

TYPED_TEST_P(DispatchContract, BarrierSyncWaitsForAllThatWasSubmittedBefore)
{
    int seen = -1;

    for (int i = 0; i < 10; ++i)
        this->queue->barrierAsync([this] { ++this->value; });
    this->queue->barrierSync([&] { seen = this->value; });

    EXPECT_EQ(seen, 10);
}

TYPED_TEST_P(DispatchContract, ABlockMaySubmitToItsOwnQueue)
{
    this->queue->barrierAsync([this] {
        this->queue->barrierAsync([this] { this->order.push_back(3); });
        this->order.push_back(1);
    });
    this->queue->barrierAsync([this] { this->order.push_back(2); });
    this->subject.settle();

    // The block's own submission and the second one overlap in time: either may run first.
    ASSERT_EQ(this->order.size(), 3u);
    EXPECT_EQ(this->order.front(), 1);
    EXPECT_EQ(this->order[1] + this->order[2], 5);
}

TYPED_TEST_P(DispatchContract, ABlockMaySyncWithAnotherQueue)
{
    for (int i = 1; i <= 100; ++i) {
        this->queue->barrierAsync([this, i] {
            this->other->sync([this] { this->order.push_back(this->value); });
            this->other->barrierAsync([this, i] { this->value = i; });
        });
    }
    this->subject.settle();

    ASSERT_EQ(this->order.size(), 100u);
    for (int i = 0; i < 100; ++i)
        EXPECT_EQ(this->order[static_cast<std::size_t>(i)], i);
    EXPECT_EQ(this->value, 100);
}

TYPED_TEST_P(DispatchContract, ReadersOfTwoQueuesMayNest)
{
    this->other->barrierAsync([this] { this->value = 1; });
    this->queue->sync([this] { this->other->sync([this] { this->value += 1; }); });

    EXPECT_EQ(this->value, 2);
}

TYPED_TEST_P(DispatchContract, ASyncMayRunAnotherQueuesBlockThatSyncsWithTheFirstQueue)
{
    this->queue->sync([this] {
        this->other->barrierAsync([this] { this->queue->sync([this] { ++this->ran; }); });
        this->other->sync([this] { ++this->ran; });
    });

    EXPECT_EQ(this->ran, 2);
}

TYPED_TEST_P(DispatchContract, AnExceptionOfASynchronousBlockReachesTheCaller)
{
    const auto fail = [] { throw std::runtime_error("no"); };

    EXPECT_THROW(this->queue->sync(fail), std::runtime_error);
    EXPECT_THROW(this->queue->barrierSync(fail), std::runtime_error);

    this->queue->barrierSync([this] { ++this->ran; });
    EXPECT_EQ(this->ran, 1);
}

TYPED_TEST_P(DispatchContract, AnExceptionOfAnAsynchronousBlockIsDropped)
{
    this->queue->barrierAsync([] { throw std::runtime_error("no"); });
    this->dispatch().globalAsyncAfter(
        std::chrono::seconds(0), [] { throw std::runtime_error("no"); });
    this->queue->barrierAsync([this] { ++this->ran; });
    this->subject.settle();

    EXPECT_EQ(this->ran, 1);
}

TYPED_TEST_P(DispatchContract, DestroyingAQueueRunsItsPendingBlocks)
{
    DispatchQueue& itself = *this->queue;

    for (int i = 0; i < 100; ++i) {
        itself.barrierAsync([this, &itself] {
            ++this->ran;
            itself.barrierAsync([this] { ++this->ran; });
        });
    }
    this->queue.reset();

    EXPECT_EQ(this->ran, 200);
}

TYPED_TEST_P(DispatchContract, ABlockMayDestroyItsOwnQueue)
{
    DispatchQueue& itself = *this->queue;

    itself.barrierAsync([this, &itself] {
        itself.barrierAsync([this] { ++this->ran; });
        this->queue.reset();
        ++this->ran;
    });
    this->subject.settle();

    EXPECT_EQ(this->ran, 2);
}

TYPED_TEST_P(DispatchContract, ABarrierNowOrLaterMayDestroyItsOwnQueue)
{
    DispatchQueue& itself = *this->queue;

    itself.barrierNowOrLater([this, &itself] {
        itself.barrierAsync([this] { ++this->ran; });
        this->queue.reset();
        ++this->ran;
    });
    this->subject.settle();

    EXPECT_EQ(this->ran, 2);
}

TYPED_TEST_P(DispatchContract, ABlockIsDestroyedAfterItsRun)
{
    const auto witness = std::make_shared<int>(0);

    this->queue->barrierAsync([witness] {});
    this->dispatch().globalAsyncAfter(std::chrono::seconds(0), [witness] {});
    this->subject.settle();

    EXPECT_EQ(witness.use_count(), 1);
}

TYPED_TEST_P(DispatchContract, BlocksOfTheGlobalQueueRun)
{
    for (int i = 0; i < 100; ++i)
        this->dispatch().globalAsyncAfter(std::chrono::seconds(0), [this] { ++this->ran; });
    this->subject.settle();

    EXPECT_EQ(this->ran, 100);
}

TYPED_TEST_P(DispatchContract, ADelayedBlockRunsNoEarlierThanItsDelay)
{
    // The longest delay first: none waits for one that was submitted before it.
    for (const int intervals : { 3, 1, 2 }) {
        const auto delay = intervals * this->interval;
        this->runAfter(delay, [this, due = this->subject.now() + delay] {
            this->early += this->subject.now() < due;
            ++this->ran;
        });
    }
    this->subject.passUntil([this] { return this->ran == 3; });

    EXPECT_EQ(this->ran, 3);
    EXPECT_EQ(this->early, 0);
}

TYPED_TEST_P(DispatchContract, ADelayedBlockDoesNotWaitForALaterOne)
{
    this->dispatch().globalAsyncAfter(std::chrono::hours(1), [] {});
    this->runAfter(this->interval, [this] { ++this->ran; });
    this->subject.passUntil([this] { return this->ran == 1; });

    EXPECT_EQ(this->ran, 1);
}

TYPED_TEST_P(DispatchContract, ABlockForTheMainThreadRuns)
{
    this->dispatch().mainAsync([this] { ++this->ran; });
    this->subject.settle();

    EXPECT_EQ(this->ran, 1);
}

REGISTER_TYPED_TEST_SUITE_P(DispatchContract, BarriersRunInTheOrderOfSubmission,
    ABarrierMadeInPlaceRunsInItsTurn, ABarrierThatCannotBeMadeIsNotSubmitted,
    SyncSeesTheBarriersBeforeIt, SyncOnAQueueAtRestRunsBeforeItReturns,
    ABarrierNowOrLaterRunsBehindWhatWasSubmittedBefore,
    ABlockMaySubmitABarrierNowOrLaterToItsOwnQueue, AnExceptionOfABarrierNowOrLaterIsDropped,
    BarrierSyncWaitsForAllThatWasSubmittedBefore, ABlockMaySubmitToItsOwnQueue,
    ABlockMaySyncWithAnotherQueue, ReadersOfTwoQueuesMayNest,
    ASyncMayRunAnotherQueuesBlockThatSyncsWithTheFirstQueue,
    AnExceptionOfASynchronousBlockReachesTheCaller, AnExceptionOfAnAsynchronousBlockIsDropped,
    DestroyingAQueueRunsItsPendingBlocks, ABlockMayDestroyItsOwnQueue,
    ABarrierNowOrLaterMayDestroyItsOwnQueue, ABlockIsDestroyedAfterItsRun,
    BlocksOfTheGlobalQueueRun, ADelayedBlockRunsNoEarlierThanItsDelay,
    ADelayedBlockDoesNotWaitForALaterOne, ABlockForTheMainThreadRuns);

} // namespace telvora
