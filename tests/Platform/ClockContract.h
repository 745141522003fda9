#pragma once

#include <Telvora/Platform/Clock.h>

#include <gtest/gtest.h>

#include <cmath>

namespace telvora {

/// What every Clock promises. `Subject` is made without arguments and has `Clock& clock()`.
template<typename Subject> class ClockContract : public testing::Test {
protected:
    Subject subject;
};

TYPED_TEST_SUITE_P(ClockContract);

TYPED_TEST_P(ClockContract, SteadyTimeNeverGoesBack)
{
    auto last = this->subject.clock().steadyNow();

    for (int reading = 0; reading < 1000; ++reading) {
        const auto now = this->subject.clock().steadyNow();
        ASSERT_GE(now, last);
        last = now;
    }
}

TYPED_TEST_P(ClockContract, CalendarTimeIsANumberOfSecondsAfter1970)
{
    const double seconds = this->subject.clock().secondsSince1970();

    EXPECT_TRUE(std::isfinite(seconds));
    EXPECT_GT(seconds, 0);
}

REGISTER_TYPED_TEST_SUITE_P(
    ClockContract, SteadyTimeNeverGoesBack, CalendarTimeIsANumberOfSecondsAfter1970);

} // namespace telvora
