#include <Telvora/Platform/Dispatch/TimerThread.h>

#include <Telvora/Platform/Linux/Process/LinuxThread.h>

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <memory>
#include <mutex>
#include <thread>
#include <vector>

namespace telvora {
namespace {

using namespace std::chrono_literals;
using detail::Deadline;
using detail::SteadyTime;
using detail::TimerThread;

bool refuse(const char*, Work)
{
    return false;
}

/// Notes its number when it comes.
class Noted final : public Deadline {
public:
    Noted(std::vector<int>& numbers, std::mutex& lock, std::atomic<int>& count, int number)
        : m_numbers(numbers)
        , m_lock(lock)
        , m_count(count)
        , m_number(number)
    {
    }

    void expire() noexcept override
    {
        const std::lock_guard held(m_lock);
        m_numbers.push_back(m_number);
        ++m_count;
    }

private:
    std::vector<int>& m_numbers;
    std::mutex& m_lock;
    std::atomic<int>& m_count;
    const int m_number;
};

class TimerThreadTest : public testing::Test {
protected:
    std::shared_ptr<Deadline> deadline(int number)
    {
        return std::make_shared<Noted>(come, lock, count, number);
    }

    void waitFor(int number)
    {
        while (count < number)
            std::this_thread::yield();
    }

    void TearDown() override
    {
        // The thread holds on to itself and to nothing of the case.
        timers->retire();
        const std::weak_ptr<TimerThread> gone = timers;
        timers.reset();
        while (!gone.expired())
            std::this_thread::yield();
    }

    std::vector<int> come;
    std::mutex lock;
    std::atomic<int> count { 0 };
    std::shared_ptr<TimerThread> timers
        = std::make_shared<TimerThread>(detail::startDetachedThread);
};

TEST_F(TimerThreadTest, DeadlinesComeInTheirOrderWhateverTheOrderOfArming)
{
    const SteadyTime soon = std::chrono::steady_clock::now() + 20ms;
    timers->arm(deadline(3), soon + 2ms);
    timers->arm(deadline(1), soon);
    timers->arm(deadline(4), soon + 3ms);
    timers->arm(deadline(2), soon + 1ms);

    waitFor(4);

    EXPECT_EQ(come, (std::vector<int> { 1, 2, 3, 4 }));
    EXPECT_GE(std::chrono::steady_clock::now(), soon + 3ms);
}

TEST_F(TimerThreadTest, DeadlinesOfOneTimeComeInTheOrderOfArming)
{
    const SteadyTime soon = std::chrono::steady_clock::now() + 20ms;
    for (int number = 0; number < 5; ++number)
        timers->arm(deadline(number), soon);

    waitFor(5);

    EXPECT_EQ(come, (std::vector<int> { 0, 1, 2, 3, 4 }));
}

TEST_F(TimerThreadTest, ADisarmedDeadlineDoesNotComeAndIsLetGo)
{
    const SteadyTime later = std::chrono::steady_clock::now() + 1h;
    std::shared_ptr<Deadline> disarmed = deadline(1);
    const std::weak_ptr<Deadline> gone = disarmed;
    timers->arm(disarmed, later);
    timers->disarm(*disarmed);
    disarmed.reset();

    timers->arm(deadline(2), std::chrono::steady_clock::now());
    waitFor(1);

    EXPECT_TRUE(gone.expired());
    EXPECT_EQ(come, std::vector<int> { 2 });
}

TEST_F(TimerThreadTest, AnEarlierDeadlineWakesTheThreadFromALongerSleep)
{
    std::shared_ptr<Deadline> far = deadline(1);
    timers->arm(far, SteadyTime::max());
    timers->arm(deadline(2), std::chrono::steady_clock::now() + 1ms);

    waitFor(1);
    timers->disarm(*far);

    EXPECT_EQ(come, std::vector<int> { 2 });
}

TEST(TimerThreadRefusalTest, ADeadlineWaitsForTheNextOneWhereTheSystemRefusesTheThread)
{
    const auto timers = std::make_shared<TimerThread>(refuse);
    std::vector<int> come;
    std::mutex lock;
    std::atomic<int> count { 0 };

    timers->arm(std::make_shared<Noted>(come, lock, count, 1), std::chrono::steady_clock::now());
    timers->arm(std::make_shared<Noted>(come, lock, count, 2), std::chrono::steady_clock::now());

    EXPECT_EQ(count, 0);
    EXPECT_EQ(timers.use_count(), 1);
}

TEST(SteadyTimeAfterTest, EndsAtTheLastInstant)
{
    EXPECT_EQ(detail::steadyTimeAfter(std::chrono::nanoseconds::max()), SteadyTime::max());
}

} // namespace
} // namespace telvora
