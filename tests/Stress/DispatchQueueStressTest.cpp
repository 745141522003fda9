#include <Telvora/Base/Mutex.h>
#include <Telvora/Platform/Linux/LinuxDispatch.h>

#include <gtest/gtest.h>

#include <array>
#include <atomic>
#include <functional>
#include <memory>
#include <random>
#include <thread>
#include <vector>

namespace telvora {
namespace {

constexpr int threadCount = 4;

void inThreads(int count, const std::function<void(int)>& body)
{
    std::vector<std::thread> threads;
    for (int number = 0; number < count; ++number)
        threads.emplace_back([&body, number] { body(number); });
    for (std::thread& thread : threads)
        thread.join();
}

void settle(LinuxDispatch& dispatch)
{
    ASSERT_TRUE(
        dispatch.waitUntilIdle(std::chrono::steady_clock::now() + std::chrono::seconds(60)));
}

/// The queue as a list that one mutex guards: what had been submitted before what. Each block
/// compares what has run with what the list says must have run.
class OrderModel {
public:
    struct Place {
        long barriersBefore = 0;
        long plainsBefore = 0;
    };

    Place next(bool isBarrier)
    {
        const Place place = m_end;
        ++(isBarrier ? m_end.barriersBefore : m_end.plainsBefore);
        return place;
    }

    void runPlain(const Place& place)
    {
        ++m_running;
        if (m_barriersRun != place.barriersBefore || m_isBarrierRunning)
            ++m_errors;
        --m_running;
        ++m_plainsRun;
    }

    void runBarrier(const Place& place)
    {
        if (m_isBarrierRunning.exchange(true) || m_running != 0
            || m_barriersRun != place.barriersBefore || m_plainsRun != place.plainsBefore)
            ++m_errors;
        m_isBarrierRunning = false;
        ++m_barriersRun;
    }

    long errors() const { return m_errors; }
    bool isComplete() const
    {
        return m_barriersRun == m_end.barriersBefore && m_plainsRun == m_end.plainsBefore;
    }

private:
    Place m_end;
    std::atomic<long> m_barriersRun { 0 };
    std::atomic<long> m_plainsRun { 0 };
    std::atomic<long> m_running { 0 };
    std::atomic<bool> m_isBarrierRunning { false };
    std::atomic<long> m_errors { 0 };
};

TEST(DispatchQueueStressTest, OneThreadsOperationsKeepTheirPlacesAmongThemselves)
{
    LinuxDispatch dispatch;
    const auto queue = dispatch.makeConcurrentQueue("stress");
    std::atomic<long> errors { 0 };

    // Every thread has a queue of its own in the model: its barriers see all that it submitted
    // before and nothing that it submits later, whatever the others do.
    struct Lane {
        long submittedBarriers = 0;
        long submittedPlains = 0;
        std::atomic<long> barriersRun { 0 };
        std::atomic<long> plainsRun { 0 };
    };
    std::array<Lane, threadCount> lanes;
    inThreads(threadCount, [&](int number) {
        std::mt19937 random(static_cast<unsigned>(number));
        Lane& lane = lanes[static_cast<std::size_t>(number)];
        for (int step = 0; step < 5000; ++step) {
            const auto barrier = [&lane, &errors, barriers = lane.submittedBarriers,
                                     plains = lane.submittedPlains] {
                if (lane.barriersRun != barriers || lane.plainsRun != plains)
                    ++errors;
                ++lane.barriersRun;
            };
            const auto plain = [&lane, &errors, barriers = lane.submittedBarriers] {
                if (lane.barriersRun != barriers)
                    ++errors;
                ++lane.plainsRun;
            };
            switch (random() % 8) {
            case 0:
                ++lane.submittedPlains;
                queue->sync(plain);
                break;
            case 1:
                ++lane.submittedBarriers;
                queue->barrierSync(barrier);
                break;
            case 2:
            case 3:
                ++lane.submittedPlains;
                queue->async(plain);
                break;
            default:
                ++lane.submittedBarriers;
                queue->barrierAsync(barrier);
            }
        }
    });
    settle(dispatch);

    EXPECT_EQ(errors, 0);
    for (const Lane& lane : lanes) {
        EXPECT_EQ(lane.barriersRun, lane.submittedBarriers);
        EXPECT_EQ(lane.plainsRun, lane.submittedPlains);
    }
}

TEST(DispatchQueueStressTest, AllThreadsOperationsRunAsOneListSays)
{
    LinuxDispatch dispatch;
    const auto queue = dispatch.makeConcurrentQueue("stress");
    OrderModel model;
    Mutex lock;

    inThreads(threadCount, [&](int number) {
        std::mt19937 random(static_cast<unsigned>(number));
        for (int step = 0; step < 5000; ++step) {
            const bool isBarrier = random() % 3 == 0;
            MutexLock held(lock);
            const OrderModel::Place place = model.next(isBarrier);
            if (isBarrier)
                queue->barrierAsync([&model, place] { model.runBarrier(place); });
            else
                queue->async([&model, place] { model.runPlain(place); });
        }
    });
    settle(dispatch);

    EXPECT_EQ(model.errors(), 0);
    EXPECT_TRUE(model.isComplete());
}

TEST(DispatchQueueStressTest, BarriersAndReadersNeverMeet)
{
    LinuxDispatch dispatch;
    const auto queue = dispatch.makeConcurrentQueue("stress");
    // Plain data on purpose: the thread sanitizer sees whether the queue orders it.
    std::array<long, 8> data {};
    std::atomic<long> torn { 0 };

    inThreads(threadCount, [&](int number) {
        std::mt19937 random(static_cast<unsigned>(number));
        const auto write = [&data] {
            for (long& value : data)
                ++value;
        };
        const auto read = [&data, &torn] {
            for (const long value : data)
                torn += value != data.front();
        };
        for (int step = 0; step < 5000; ++step) {
            switch (random() % 6) {
            case 0:
                queue->barrierSync(write);
                break;
            case 1:
                queue->async(read);
                break;
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

    EXPECT_EQ(torn, 0);
}

TEST(DispatchQueueStressTest, BlocksOfOneQueueReadAndWriteThroughAnother)
{
    LinuxDispatch dispatch;
    const auto first = dispatch.makeConcurrentQueue("first");
    const auto second = dispatch.makeConcurrentQueue("second");
    long value = 0;
    std::atomic<long> wentBack { 0 };

    inThreads(threadCount, [&](int number) {
        for (int step = 0; step < 3000; ++step) {
            first->barrierAsync([&] {
                long before = 0;
                second->sync([&] { before = value; });
                second->barrierAsync([&, before] { wentBack += value++ < before; });
            });
            if ((step + number) % 7 == 0)
                second->sync([&] { wentBack += value < 0; });
        }
    });
    settle(dispatch);

    long last = 0;
    second->sync([&] { last = value; });
    EXPECT_EQ(last, threadCount * 3000);
    EXPECT_EQ(wentBack, 0);
}

TEST(DispatchQueueStressTest, WorkersThatWaitForOneAnotherAreReplaced)
{
    LinuxDispatch dispatch;
    std::vector<std::unique_ptr<DispatchQueue>> queues;
    for (int i = 0; i < 12; ++i)
        queues.push_back(dispatch.makeConcurrentQueue("chain"));
    std::atomic<int> reached { 0 };

    // Block i holds queue i and waits for queue i + 1, whose own block is behind it in the pool.
    for (int round = 0; round < 50; ++round) {
        for (std::size_t i = 0; i + 1 < queues.size(); ++i) {
            queues[i]->barrierAsync(
                [&queues, &reached, i] { queues[i + 1]->barrierSync([&reached] { ++reached; }); });
        }
    }
    settle(dispatch);

    EXPECT_EQ(reached, 50 * 11);
}

TEST(DispatchQueueStressTest, QueuesAreDestroyedWhileTheyAreBusy)
{
    LinuxDispatch dispatch;
    std::atomic<long> missing { 0 };

    inThreads(threadCount, [&](int number) {
        std::mt19937 random(static_cast<unsigned>(number));
        for (int round = 0; round < 500; ++round) {
            auto queue = dispatch.makeConcurrentQueue("short");
            DispatchQueue& itself = *queue;
            std::atomic<long> ran { 0 };
            const long pairs = static_cast<long>(random() % 10);
            for (long i = 0; i < pairs; ++i) {
                queue->async([&] { ++ran; });
                queue->barrierAsync([&] { ++ran; });
            }
            queue->barrierAsync([&] { itself.barrierAsync([&] { ++ran; }); });
            if (random() % 2)
                queue->sync([] {});
            queue.reset();
            missing += 2 * pairs + 1 - ran;
        }
    });

    EXPECT_EQ(missing, 0);
}

TEST(DispatchQueueStressTest, IdleMeansThatEverythingHasRun)
{
    LinuxDispatch dispatch;
    const auto first = dispatch.makeConcurrentQueue("first");
    const auto second = dispatch.makeConcurrentQueue("second");

    for (int round = 0; round < 300; ++round) {
        std::atomic<int> ran { 0 };
        first->barrierAsync([&] {
            second->barrierAsync(
                [&] { dispatch.globalAsync([&] { first->async([&] { ++ran; }); }); });
        });
        settle(dispatch);
        ASSERT_EQ(ran, 1);
    }
}

} // namespace
} // namespace telvora
