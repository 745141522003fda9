#include <Telvora/Base/Mutex.h>

#include <tests/Platform/Dispatch/RealDispatch.h>

#include <gtest/gtest.h>

#include <array>
#include <atomic>
#include <memory>
#include <random>
#include <vector>

// Many threads at once on one queue or several, against rules that any interleaving must keep.

namespace telvora {
namespace {

constexpr int threadCount = 4;

class DispatchQueueStressTest : public RealDispatchTest {
protected:
    /// What one thread has submitted and what of it has run.
    struct Submissions {
        long barriersSubmitted = 0;
        std::atomic<long> barriersRun { 0 };
    };

    /// Notes a barrier of `thread`; every one that the thread submitted before it has run by then.
    void noteBarrier(std::size_t thread, long submittedBefore)
    {
        errors += submissions[thread].barriersRun++ != submittedBefore;
    }

    std::array<Submissions, threadCount> submissions;
    std::atomic<long> errors { 0 };
    // Not atomic, so that the thread sanitizer reports blocks that run at once.
    std::array<long, 8> data {};
    long value = 0;
    long lastNumber = 0;
    std::atomic<int> reached { 0 };
    detail::Mutex lock;
    std::unique_ptr<DispatchQueue> queue = dispatch.makeConcurrentQueue("stress");
    std::unique_ptr<DispatchQueue> other = dispatch.makeConcurrentQueue("other");
    std::vector<std::unique_ptr<DispatchQueue>> queues;
};

TEST_F(DispatchQueueStressTest, OperationsOfOneThreadRunInTheirOrder)
{
    inThreads(threadCount, [this](int number) {
        const auto thread = static_cast<std::size_t>(number);
        std::mt19937 random(static_cast<unsigned>(number));
        Submissions& own = submissions[thread];
        for (int step = 0; step < 5000; ++step) {
            const long before = own.barriersSubmitted;
            switch (random() % 8) {
            case 0:
                queue->sync([&] { errors += own.barriersRun != before; });
                break;
            case 1:
                ++own.barriersSubmitted;
                queue->barrierSync([&] { noteBarrier(thread, before); });
                break;
            default:
                ++own.barriersSubmitted;
                queue->barrierAsync([this, thread, before] { noteBarrier(thread, before); });
            }
        }
    });
    dispatch.settle();

    EXPECT_EQ(errors, 0);
    for (const Submissions& own : submissions)
        EXPECT_EQ(own.barriersRun, own.barriersSubmitted);
}

TEST_F(DispatchQueueStressTest, SubmissionsThatALockOrdersRunInThatOrder)
{
    long submitted = 0;
    inThreads(threadCount, [&](int) {
        for (int step = 0; step < 10'000; ++step) {
            const detail::MutexLock held(lock);
            queue->barrierAsync([this, number = ++submitted] { errors += ++lastNumber != number; });
        }
    });
    dispatch.settle();

    EXPECT_EQ(errors, 0);
    EXPECT_EQ(lastNumber, threadCount * 10'000);
}

TEST_F(DispatchQueueStressTest, BarriersAndReadersNeverRunAtOnce)
{
    inThreads(threadCount, [this](int number) {
        std::mt19937 random(static_cast<unsigned>(number));
        const auto write = [this] {
            for (long& place : data)
                ++place;
        };
        const auto read = [this] {
            for (const long place : data)
                errors += place != data.front();
        };
        for (int step = 0; step < 5000; ++step) {
            switch (random() % 6) {
            case 0:
                queue->barrierSync(write);
                break;
            case 1:
            case 2:
            case 3:
                queue->barrierAsync(write);
                break;
            default:
                queue->sync(read);
            }
        }
    });
    queue->barrierSync([] {});

    EXPECT_EQ(errors, 0);
}

TEST_F(DispatchQueueStressTest, BlocksOfOneQueueReadAndWriteThroughAnother)
{
    inThreads(threadCount, [this](int number) {
        for (int step = 0; step < 3000; ++step) {
            queue->barrierAsync([this] {
                long before = 0;
                other->sync([&] { before = value; });
                other->barrierAsync([this, before] { errors += value++ < before; });
            });
            if ((step + number) % 7 == 0)
                other->sync([this] { errors += value < 0; });
        }
    });
    dispatch.settle();

    EXPECT_EQ(value, threadCount * 3000);
    EXPECT_EQ(errors, 0);
}

TEST_F(DispatchQueueStressTest, WorkersThatWaitForOneAnotherAreReplaced)
{
    for (int i = 0; i < 12; ++i)
        queues.push_back(dispatch.makeConcurrentQueue("chain"));

    // Block i holds queue i and waits for queue i + 1, whose own block is behind it in the pool.
    for (int round = 0; round < 50; ++round) {
        for (std::size_t i = 0; i + 1 < queues.size(); ++i) {
            queues[i]->barrierAsync(
                [this, i] { queues[i + 1]->barrierSync([this] { ++reached; }); });
        }
    }
    dispatch.settle();

    EXPECT_EQ(reached, 50 * 11);
}

TEST_F(DispatchQueueStressTest, QueuesAreDestroyedWhileTheyAreBusy)
{
    inThreads(threadCount, [this](int number) {
        std::mt19937 random(static_cast<unsigned>(number));
        for (int round = 0; round < 500; ++round) {
            // After the queue, whose destructor waits for the blocks.
            std::atomic<long> ran { 0 };
            auto shortLived = dispatch.makeConcurrentQueue("short");
            DispatchQueue& itself = *shortLived;
            const long count = static_cast<long>(random() % 20);
            for (long i = 0; i < count; ++i)
                shortLived->barrierAsync([&ran] { ++ran; });
            shortLived->barrierAsync([&] { itself.barrierAsync([&ran] { ++ran; }); });
            if (random() % 2)
                shortLived->sync([] {});
            shortLived.reset();
            errors += count + 1 - ran;
        }
    });

    EXPECT_EQ(errors, 0);
}

} // namespace
} // namespace telvora
