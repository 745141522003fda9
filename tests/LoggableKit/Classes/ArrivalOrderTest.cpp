#include <Telvora/LoggableKit/Classes/ArrivalOrder.h>

#include <gtest/gtest.h>

#include <cstddef>
#include <optional>
#include <thread>
#include <vector>

namespace telvora::detail {
namespace {

class ArrivalOrderTest : public testing::Test {
protected:
    /// Starts a thread that enters and notes its number, and returns once it waits.
    void startWaiter(int number)
    {
        const std::size_t waiting = order.waitingCount();
        threads.emplace_back([this, number] {
            const ArrivalOrder::Place place(order);
            entered.push_back(number); // Guarded by the place.
        });
        while (order.waitingCount() == waiting)
            std::this_thread::yield();
    }

    void joinAll()
    {
        for (std::thread& thread : threads)
            thread.join();
        threads.clear();
    }

    ArrivalOrder order;
    std::vector<int> entered;
    std::vector<std::thread> threads;
};

TEST_F(ArrivalOrderTest, ThreadsEnterInTheOrderInWhichTheyArrived)
{
    std::optional<ArrivalOrder::Place> inside(std::in_place, order);
    for (const int number : { 1, 2, 3, 4, 5 })
        startWaiter(number);

    inside.reset();
    joinAll();

    EXPECT_EQ(entered, (std::vector<int> { 1, 2, 3, 4, 5 }));
}

TEST_F(ArrivalOrderTest, AThreadThatComesAgainWaitsBehindTheOthers)
{
    std::optional<ArrivalOrder::Place> inside(std::in_place, order);
    for (const int number : { 1, 2, 3 })
        startWaiter(number);

    inside.reset();
    inside.emplace(order);
    entered.push_back(4);
    inside.reset();
    joinAll();

    EXPECT_EQ(entered, (std::vector<int> { 1, 2, 3, 4 }));
}

TEST_F(ArrivalOrderTest, AThreadThatIsInsideEntersAgainAtOnce)
{
    std::optional<ArrivalOrder::Place> outer(std::in_place, order);
    startWaiter(1);
    {
        const ArrivalOrder::Place inner(order);
        EXPECT_TRUE(inner);
    }

    EXPECT_EQ(order.waitingCount(), 1U) << "the end of the inner place let another thread in";
    outer.reset();
    joinAll();
}

} // namespace
} // namespace telvora::detail
