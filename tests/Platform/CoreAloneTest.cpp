// A program that links the core alone, as a port to another system would begin.

#include <Telvora/Telvora.h>

#include <gtest/gtest.h>

namespace telvora {
namespace {

TEST(CoreAloneDeathTest, TheFirstUseWithoutAPlatformStopsTheProcessAndSaysWhy)
{
    EXPECT_DEATH(TrackerManager::shared(),
        "No platform is installed: link Telvora::telvora, or call installPlatform\\(\\) first, "
        "and again after takeDown\\(\\)");
}

} // namespace
} // namespace telvora
