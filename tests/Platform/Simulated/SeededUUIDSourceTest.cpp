#include <Telvora/Platform/Simulated/SeededUUIDSource.h>

#include <gtest/gtest.h>

namespace telvora {
namespace {

TEST(SeededUUIDSourceTest, SameSeedGivesTheSameUUIDs)
{
    SeededUUIDSource one(7);
    SeededUUIDSource two(7);

    for (int count = 0; count < 100; ++count)
        EXPECT_EQ(one.next(), two.next());
}

TEST(SeededUUIDSourceTest, AnotherSeedGivesOthers)
{
    EXPECT_NE(SeededUUIDSource(1).next(), SeededUUIDSource(2).next());
    EXPECT_NE(SeededUUIDSource(0).next(), SeededUUIDSource(1).next());
}

TEST(SeededUUIDSourceTest, TheSameOnEveryMachine)
{
    EXPECT_EQ(uuidText(SeededUUIDSource(0).next()), "AFCD1D7B-39A8-40E2-B465-B9A16A9E786E");
}

} // namespace
} // namespace telvora
