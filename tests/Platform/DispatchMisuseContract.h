#pragma once

#include <tests/Platform/DispatchFixture.h>

#include <gtest/gtest.h>

namespace telvora {

/// Every Dispatch stops the process when a block waits for its own queue.
template<typename Subject> class DispatchContractDeathTest : public DispatchFixture<Subject> {
protected:
    static constexpr const char* message
        = "A block of the queue \"contract\" waits for its own queue";
};

TYPED_TEST_SUITE_P(DispatchContractDeathTest);

TYPED_TEST_P(DispatchContractDeathTest, ASyncInsideASyncStopsTheProcess)
{
    EXPECT_DEATH(this->queue->sync([this] { this->queue->sync([] {}); }), this->message);
}

TYPED_TEST_P(DispatchContractDeathTest, ASyncInsideASyncStopsTheProcessWhileABarrierIsPending)
{
    EXPECT_DEATH(this->queue->sync([this] {
        this->queue->barrierAsync([] {});
        this->queue->sync([] {});
    }),
        this->message);
}

TYPED_TEST_P(DispatchContractDeathTest, ASyncInsideABarrierSyncStopsTheProcess)
{
    EXPECT_DEATH(this->queue->barrierSync([this] { this->queue->sync([] {}); }), this->message);
}

TYPED_TEST_P(DispatchContractDeathTest, ABarrierSyncInsideASyncStopsTheProcess)
{
    EXPECT_DEATH(this->queue->sync([this] { this->queue->barrierSync([] {}); }), this->message);
}

TYPED_TEST_P(DispatchContractDeathTest, ABarrierSyncInsideABarrierSyncStopsTheProcess)
{
    EXPECT_DEATH(
        this->queue->barrierSync([this] { this->queue->barrierSync([] {}); }), this->message);
}

TYPED_TEST_P(DispatchContractDeathTest, ASyncInsideAnAsynchronousBlockStopsTheProcess)
{
    EXPECT_DEATH(
        {
            this->queue->barrierAsync([this] { this->queue->sync([] {}); });
            this->subject.settle();
        },
        this->message);
}

TYPED_TEST_P(DispatchContractDeathTest, ABarrierSyncInsideAnAsynchronousBlockStopsTheProcess)
{
    EXPECT_DEATH(
        {
            this->queue->barrierAsync([this] { this->queue->barrierSync([] {}); });
            this->subject.settle();
        },
        this->message);
}

TYPED_TEST_P(DispatchContractDeathTest, ASyncInsideTheSyncOfAnotherQueueStopsTheProcess)
{
    EXPECT_DEATH(
        this->queue->sync([this] { this->other->sync([this] { this->queue->sync([] {}); }); }),
        this->message);
}

REGISTER_TYPED_TEST_SUITE_P(DispatchContractDeathTest, ASyncInsideASyncStopsTheProcess,
    ASyncInsideASyncStopsTheProcessWhileABarrierIsPending, ASyncInsideABarrierSyncStopsTheProcess,
    ABarrierSyncInsideASyncStopsTheProcess, ABarrierSyncInsideABarrierSyncStopsTheProcess,
    ASyncInsideAnAsynchronousBlockStopsTheProcess,
    ABarrierSyncInsideAnAsynchronousBlockStopsTheProcess,
    ASyncInsideTheSyncOfAnotherQueueStopsTheProcess);

} // namespace telvora
