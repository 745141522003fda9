#include <Telvora/Classes/Domain/TrackerDomainConstant.h>
#include <Telvora/Classes/TrackerConfiguration.h>

#include <gtest/gtest.h>

namespace telvora {
namespace {

TEST(TrackerConfigurationTest, ModeIsReleaseUntilSet)
{
    EXPECT_EQ(TrackerConfiguration::mode(), TrackerMode::release);
    EXPECT_EQ(TrackerConfiguration::ipaMode(), "RELEASE");

    TrackerConfiguration::setMode(TrackerMode::debug);

    EXPECT_EQ(TrackerConfiguration::mode(), TrackerMode::debug);
    EXPECT_EQ(TrackerConfiguration::ipaMode(), "DEBUG");
}

TEST(DefaultIndexTest, RawValuesNameTheFourChannels)
{
    EXPECT_EQ(rawValue(DefaultIndex::APM), "APM");
    EXPECT_EQ(rawValue(DefaultIndex::MP), "MP");
    EXPECT_EQ(rawValue(DefaultIndex::E2E), "E2E");
    EXPECT_EQ(rawValue(DefaultIndex::Sentry), "Sentry");
}

TEST(DefaultIndexTest, ARawValueMustMatchExactly)
{
    EXPECT_EQ(defaultIndex("APM"), DefaultIndex::APM);
    EXPECT_EQ(defaultIndex("Sentry"), DefaultIndex::Sentry);
    EXPECT_FALSE(defaultIndex("apm"));
    EXPECT_FALSE(defaultIndex("SENTRY"));
    EXPECT_FALSE(defaultIndex(""));
    EXPECT_FALSE(defaultIndex("APM "));
}

} // namespace
} // namespace telvora
