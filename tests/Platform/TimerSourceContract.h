#pragma once

#include <tests/Platform/DispatchFixture.h>

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <memory>
#include <stdexcept>

namespace telvora {

/// What every Dispatch promises of its timers, the real and the simulated one.
template<typename Subject> class TimerSourceContract : public DispatchFixture<Subject> {
protected:
    void countTicks()
    {
        this->timer->setHandler([this] {
            this->instants.push_back(this->subject.now());
            ++this->ticks;
        });
    }

    std::atomic<bool> mayDestroy { false };
};

TYPED_TEST_SUITE_P(TimerSourceContract);

TYPED_TEST_P(TimerSourceContract, ATimerIsMadeSuspended)
{
    this->countTicks();
    this->timer->schedule(this->interval);
    this->subject.pass(this->interval * 3);

    EXPECT_EQ(this->ticks, 0);
}

TYPED_TEST_P(TimerSourceContract, TheFirstTickComesOneIntervalAfterTheSchedule)
{
    this->countTicks();

    const auto start = this->subject.now();
    this->timer->schedule(this->interval * 2);
    this->timer->resume();
    this->passUntilTicks(2);
    this->timer.reset();

    ASSERT_GE(this->ticks, 2);
    EXPECT_GE(this->instants[0] - start, this->interval * 2);
    EXPECT_GE(this->instants[1] - start, this->interval * 4);
}

TYPED_TEST_P(TimerSourceContract, ATimerWithoutAScheduleDoesNotTick)
{
    this->countTicks();
    this->timer->resume();
    this->subject.pass(this->interval * 2);

    EXPECT_EQ(this->ticks, 0);
}

TYPED_TEST_P(TimerSourceContract, TicksMissedWhileSuspendedComeAsOne)
{
    this->countTicks();
    const auto beforeSchedule = this->subject.now();
    this->timer->schedule(this->interval);
    const auto afterSchedule = this->subject.now();
    this->subject.pass(this->interval * 7 / 2);
    EXPECT_EQ(this->ticks, 0);

    const auto atResume = this->subject.now();
    this->timer->resume();
    this->subject.settle();
    EXPECT_GE(this->ticks, 1);
    this->passUntilTicks(2);
    this->timer.reset();

    // The second tick is that of the first deadline after the resume.
    ASSERT_GE(this->ticks, 2);
    const auto missed = (atResume - afterSchedule) / this->interval;
    EXPECT_GE(missed, 3);
    EXPECT_GE(this->instants[1], beforeSchedule + (missed + 1) * this->interval);
}

TYPED_TEST_P(TimerSourceContract, NothingTicksWhileSuspended)
{
    this->countTicks();
    this->timer->schedule(this->interval);
    this->timer->resume();
    this->passUntilTicks(1);

    this->timer->suspend();
    this->subject.settle();
    const int ticksWhenSuspended = this->ticks;
    this->subject.pass(this->interval * 4);

    EXPECT_GT(ticksWhenSuspended, 0);
    EXPECT_EQ(this->ticks, ticksWhenSuspended);
}

TYPED_TEST_P(TimerSourceContract, SuspensionsCount)
{
    this->countTicks();
    this->timer->schedule(this->interval);
    this->timer->suspend();
    this->timer->resume();
    this->subject.pass(this->interval * 2);
    EXPECT_EQ(this->ticks, 0);

    this->timer->resume();
    this->subject.settle();
    EXPECT_GT(this->ticks, 0);
}

TYPED_TEST_P(TimerSourceContract, AResumeTooManyIsIgnored)
{
    this->countTicks();
    this->timer->resume();
    this->timer->resume();
    this->timer->suspend();
    this->timer->schedule(this->interval);
    this->subject.pass(this->interval * 2);

    EXPECT_EQ(this->ticks, 0);
}

TYPED_TEST_P(TimerSourceContract, ANewScheduleReplacesTheOldOne)
{
    this->countTicks();
    this->timer->schedule(this->interval);
    this->timer->schedule(std::chrono::hours(1));
    this->timer->resume();
    this->subject.pass(this->interval * 3);

    EXPECT_EQ(this->ticks, 0);
}

TYPED_TEST_P(TimerSourceContract, ANewHandlerTakesEffectWithTheNextTick)
{
    this->timer->setHandler([this] { ++this->ran; });
    this->timer->schedule(this->interval);
    this->countTicks();
    this->timer->resume();
    this->passUntilTicks(1);

    EXPECT_EQ(this->ran, 0);
    EXPECT_GT(this->ticks, 0);
}

TYPED_TEST_P(TimerSourceContract, ADestroyedTimerTicksNoMore)
{
    this->countTicks();
    this->timer->schedule(this->interval);
    this->timer->resume();
    this->timer.reset();
    const int ticksWhenDestroyed = this->ticks;
    this->subject.pass(this->interval * 3);

    EXPECT_EQ(this->ticks, ticksWhenDestroyed);
}

TYPED_TEST_P(TimerSourceContract, AHandlerMayDestroyItsTimer)
{
    this->timer->setHandler([this] {
        this->mayDestroy.wait(false);
        this->timer.reset();
        ++this->ticks;
    });
    this->timer->schedule(this->interval);
    this->timer->resume();
    this->mayDestroy = true;
    this->mayDestroy.notify_all();
    this->passUntilTicks(1);
    this->subject.pass(this->interval * 4);

    EXPECT_EQ(this->ticks, 1);
    EXPECT_FALSE(this->timer);
}

TYPED_TEST_P(TimerSourceContract, AHandlerThatThrowsTicksOn)
{
    this->timer->setHandler([this] {
        ++this->ticks;
        throw std::runtime_error("no");
    });
    this->timer->schedule(this->interval);
    this->timer->resume();
    this->passUntilTicks(2);

    EXPECT_GE(this->ticks, 2);
}

TYPED_TEST_P(TimerSourceContract, AHandlerMayUseItsTimerWhileItIsDestroyed)
{
    // Destroyed together with the handler that captures it.
    struct AtEnd {
        TimerSource& timer;
        std::atomic<int>& ended;
        ~AtEnd()
        {
            timer.suspend();
            timer.setHandler({});
            ++ended;
        }
    };

    this->timer->setHandler(
        [atEnd = std::shared_ptr<AtEnd>(new AtEnd { *this->timer, this->ran })] {});
    this->timer->setHandler({});

    EXPECT_EQ(this->ran, 1);
}

REGISTER_TYPED_TEST_SUITE_P(TimerSourceContract, ATimerIsMadeSuspended,
    TheFirstTickComesOneIntervalAfterTheSchedule, ATimerWithoutAScheduleDoesNotTick,
    TicksMissedWhileSuspendedComeAsOne, NothingTicksWhileSuspended, SuspensionsCount,
    AResumeTooManyIsIgnored, ANewScheduleReplacesTheOldOne, ANewHandlerTakesEffectWithTheNextTick,
    ADestroyedTimerTicksNoMore, AHandlerMayDestroyItsTimer, AHandlerThatThrowsTicksOn,
    AHandlerMayUseItsTimerWhileItIsDestroyed);

} // namespace telvora
