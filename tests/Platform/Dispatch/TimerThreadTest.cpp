#include <Telvora/Platform/Dispatch/TimerThread.h>

#include <Telvora/Platform/Linux/Process/LinuxThread.h>

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <memory>
#include <mutex>
#include <thread>
#include <utility>
#include <vector>

namespace telvora {
namespace {

using namespace std::chrono_literals;
using detail::Deadline;
using detail::SteadyTime;
using detail::TimerThread;

std::atomic<int> s_refusals { 0 };

/// Starts a thread once the system has refused it s_refusals times.
bool startThreadAfterRefusals(const char* name, Work body)
{
    return s_refusals-- <= 0 && detail::startDetachedThread(name, std::move(body));
}

/// Records that it has come.
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

/// Holds the timer thread until it is opened.
class Gate final : public Deadline {
public:
    void expire() noexcept override
    {
        m_isReached = true;
        m_isReached.notify_all();
        m_isOpen.wait(false);
    }

    void waitUntilReached() { m_isReached.wait(false); }

    void open()
    {
        m_isOpen = true;
        m_isOpen.notify_all();
    }

private:
    std::atomic<bool> m_isReached { false };
    std::atomic<bool> m_isOpen { false };
};

class TimerThreadTest : public testing::Test {
protected:
    /// The timer thread then waits in `gate`, so no other deadline comes.
    void closeGate()
    {
        timers->arm(gate, std::chrono::steady_clock::now());
        gate->waitUntilReached();
    }

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
        gate->open();
        // The thread keeps itself alive. The deadlines of the case end with it.
        timers->retire();
        const std::weak_ptr<TimerThread> gone = timers;
        timers.reset();
        while (!gone.expired())
            std::this_thread::yield();
    }

    std::vector<int> come;
    std::mutex lock;
    std::atomic<int> count { 0 };
    const std::shared_ptr<Gate> gate = std::make_shared<Gate>();
    std::shared_ptr<TimerThread> timers
        = std::make_shared<TimerThread>(detail::startDetachedThread);
};

TEST_F(TimerThreadTest, DeadlinesComeInTheirOrderWhateverTheOrderOfArming)
{
    closeGate();
    const SteadyTime soon = std::chrono::steady_clock::now() + 5ms;
    timers->arm(deadline(3), soon + 2ms);
    timers->arm(deadline(1), soon);
    timers->arm(deadline(4), soon + 3ms);
    timers->arm(deadline(2), soon + 1ms);

    gate->open();
    waitFor(4);

    EXPECT_EQ(come, (std::vector<int> { 1, 2, 3, 4 }));
    EXPECT_GE(std::chrono::steady_clock::now(), soon + 3ms);
}

TEST_F(TimerThreadTest, DeadlinesOfOneTimeComeInTheOrderOfArming)
{
    closeGate();
    const SteadyTime now = std::chrono::steady_clock::now();
    for (int number = 0; number < 5; ++number)
        timers->arm(deadline(number), now);

    gate->open();
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

TEST_F(TimerThreadTest, DisarmingOneOfThreeLeavesTheOthersInOrder)
{
    closeGate();
    const SteadyTime soon = std::chrono::steady_clock::now();
    const std::shared_ptr<Deadline> first = deadline(1);
    const std::shared_ptr<Deadline> middle = deadline(3);
    const std::shared_ptr<Deadline> last = deadline(5);
    timers->arm(first, soon);
    timers->arm(deadline(2), soon + 1ms);
    timers->arm(middle, soon + 2ms);
    timers->arm(deadline(4), soon + 3ms);
    timers->arm(last, soon + 4ms);

    for (const auto& disarmed : { first, middle, last })
        timers->disarm(*disarmed);
    timers->arm(deadline(6), soon + 4ms);
    gate->open();
    waitFor(3);

    EXPECT_EQ(come, (std::vector<int> { 2, 4, 6 }));
}

TEST_F(TimerThreadTest, ADeadlineMayBeArmedAgainOnceItHasComeOrWasDisarmed)
{
    const SteadyTime now = std::chrono::steady_clock::now();
    const std::shared_ptr<Deadline> again = deadline(1);
    timers->arm(again, now);
    waitFor(1);
    timers->arm(again, SteadyTime::max());
    timers->disarm(*again);

    timers->arm(again, now);
    waitFor(2);

    EXPECT_EQ(come, (std::vector<int> { 1, 1 }));
}

class TimerThreadRefusalTest : public TimerThreadTest {
protected:
    TimerThreadRefusalTest() { timers = std::make_shared<TimerThread>(startThreadAfterRefusals); }
};

TEST_F(TimerThreadRefusalTest, ADeadlineComesOnceTheNextOneStartsTheThread)
{
    s_refusals = 1;
    timers->arm(deadline(1), std::chrono::steady_clock::now());
    EXPECT_EQ(timers.use_count(), 1) << "a thread has been started";

    timers->arm(deadline(2), std::chrono::steady_clock::now());
    waitFor(2);

    EXPECT_EQ(come, (std::vector<int> { 1, 2 }));
}

TEST_F(TimerThreadRefusalTest, AnyNumberOfDeadlinesIsDestroyedWithoutRecursion)
{
    constexpr int deadlines = 300'000;
    s_refusals = deadlines;
    std::weak_ptr<Deadline> gone;
    for (int number = 0; number < deadlines; ++number) {
        std::shared_ptr<Deadline> armed = deadline(number);
        gone = armed;
        timers->arm(std::move(armed), SteadyTime::max());
    }

    timers = std::make_shared<TimerThread>(startThreadAfterRefusals);

    EXPECT_TRUE(gone.expired());
}

TEST(SteadyTimeAfterTest, EndsAtTheLastInstant)
{
    EXPECT_EQ(detail::steadyTimeAfter(std::chrono::nanoseconds::max()), SteadyTime::max());
}

} // namespace
} // namespace telvora
