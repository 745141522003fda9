#include "RandomSession.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <map>

namespace telvora {
namespace {

using testing::IsEmpty;

// A thousand schedules, a hundred in each case.
class RandomScheduleTest : public testing::TestWithParam<std::uint64_t> { };

TEST_P(RandomScheduleTest, TheLedgerCountsEveryEvent)
{
    for (std::uint64_t seed = GetParam(); seed < GetParam() + 100; ++seed)
        EXPECT_THAT(RandomSession(seed).run(), IsEmpty()) << "seed " << seed;
}

INSTANTIATE_TEST_SUITE_P(
    Hundreds, RandomScheduleTest, testing::Range(std::uint64_t(1), std::uint64_t(1001), 100));

TEST(RandomSessionTest, ASeedGivesTheSameSessionWhicheverRanBefore)
{
    std::map<std::uint64_t, std::vector<std::string>> requests;
    for (std::uint64_t seed = 1; seed <= 20; ++seed) {
        RandomSession session(seed);
        session.run();
        requests[seed] = session.requests();
    }

    for (std::uint64_t seed = 20; seed >= 1; --seed) {
        RandomSession session(seed);
        session.run();
        EXPECT_EQ(session.requests(), requests[seed]) << "seed " << seed;
    }
}

} // namespace
} // namespace telvora
