#pragma once

#include <Telvora/Platform/Device.h>

#include <gtest/gtest.h>

#include <string>

namespace telvora {

/// What every Device promises. `Subject` is made without arguments and has `Device& device()` and
/// `void setSystemVersion(std::string)`.
template<typename Subject> class DeviceContract : public testing::Test {
protected:
    bool isAtLeast(const std::string& version, int major, int minor)
    {
        subject.setSystemVersion(version);
        return subject.device().isSystemVersionAtLeast(major, minor);
    }

    Subject subject;
};

TYPED_TEST_SUITE_P(DeviceContract);

TYPED_TEST_P(DeviceContract, EveryValueIsOneThatCanBeReported)
{
    const Device& device = this->subject.device();

    EXPECT_NE(device.safeDescription(), "");
    EXPECT_NE(device.identifier(), "");
    EXPECT_GT(device.ppi().value_or(1), 0);
    EXPECT_GE(device.screenBounds().width, 0);
    EXPECT_GE(device.screenBounds().height, 0);
    EXPECT_GT(device.screenScale(), 0);
    EXPECT_GE(device.activeProcessorCount(), 1);
}

TYPED_TEST_P(DeviceContract, SystemVersionIsTheSystemsOwnText)
{
    this->subject.setSystemVersion("14.1.2");

    EXPECT_EQ(this->subject.device().systemVersion(), "14.1.2");
}

TYPED_TEST_P(DeviceContract, VersionsCompareAsNumbersPlaceByPlace)
{
    for (const char* version : { "14.1", "14.1.9", "14.10", "15", "15.0", "100.0" })
        EXPECT_TRUE(this->isAtLeast(version, 14, 1)) << version;
    for (const char* version : { "14.0", "14", "14.0.9", "13.9", "9.9" })
        EXPECT_FALSE(this->isAtLeast(version, 14, 1)) << version;
}

TYPED_TEST_P(DeviceContract, APlaceWithoutANumberCountsAsZero)
{
    EXPECT_FALSE(this->isAtLeast("rolling", 0, 1));
    EXPECT_FALSE(this->isAtLeast("v15", 14, 1));
}

REGISTER_TYPED_TEST_SUITE_P(DeviceContract, EveryValueIsOneThatCanBeReported,
    SystemVersionIsTheSystemsOwnText, VersionsCompareAsNumbersPlaceByPlace,
    APlaceWithoutANumberCountsAsZero);

} // namespace telvora
