#include <Telvora/Platform/Simulated/ScriptedApplication.h>
#include <Telvora/Platform/Simulated/ScriptedBundle.h>
#include <Telvora/Platform/Simulated/ScriptedDevice.h>
#include <Telvora/Platform/Simulated/ScriptedFileManager.h>
#include <Telvora/Platform/Simulated/ScriptedTelephony.h>

#include <gtest/gtest.h>

#include <optional>
#include <string>

namespace telvora {
namespace {

TEST(ScriptedDeviceTest, IsAnIPhone12AtTheStart)
{
    const ScriptedDevice device;

    EXPECT_EQ(device.safeDescription(), "iPhone 12");
    EXPECT_EQ(device.identifier(), "iPhone13,2");
    EXPECT_EQ(device.ppi(), 460);
    EXPECT_EQ(device.systemVersion(), "15.0");
    EXPECT_EQ(device.userInterfaceIdiom(), UserInterfaceIdiom::phone);
    EXPECT_EQ(device.screenBounds().width, 390);
    EXPECT_EQ(device.screenBounds().height, 844);
    EXPECT_EQ(device.screenScale(), 3);
    EXPECT_EQ(device.activeProcessorCount(), 6);
}

TEST(ScriptedDeviceTest, TellsOfEachQuestionByName)
{
    ScriptedDevice device;
    std::string asked;
    device.setQuestionObserver([&](const std::string& question) { asked += question + " "; });

    device.safeDescription();
    device.ppi();
    device.identifier();
    device.systemVersion();
    device.userInterfaceIdiom();
    device.screenBounds();
    device.screenScale();
    device.activeProcessorCount();
    device.isSystemVersionAtLeast(14, 1);
    device.values();

    EXPECT_EQ(asked,
        "safeDescription ppi identifier systemVersion idiom screenBounds screenScale "
        "activeProcessorCount osVersionTest ");
}

TEST(ScriptedBundleTest, SaysWhatItWasGiven)
{
    ScriptedBundle bundle;
    EXPECT_EQ(bundle.objectForInfoDictionaryKey("CFBundleShortVersionString"), Value("1.0.0"));
    EXPECT_EQ(bundle.bundleIdentifier(), "com.example.host");

    bundle.setInfoDictionary({ { "CFBundleShortVersionString", 7 } });
    bundle.setBundleIdentifier(std::nullopt);

    EXPECT_EQ(bundle.objectForInfoDictionaryKey("CFBundleShortVersionString"), Value(7));
    EXPECT_EQ(bundle.objectForInfoDictionaryKey("missing"), std::nullopt);
    EXPECT_EQ(bundle.bundleIdentifier(), std::nullopt);
}

TEST(ScriptedBundleTest, TellsOfEachQuestionWithItsKey)
{
    ScriptedBundle bundle;
    std::string asked;
    bundle.setQuestionObserver([&](const std::string& question) { asked += question + " "; });

    bundle.objectForInfoDictionaryKey("CFBundleShortVersionString");
    bundle.bundleIdentifier();

    EXPECT_EQ(asked, "infoDictionary:CFBundleShortVersionString bundleIdentifier ");
}

TEST(ScriptedFileManagerTest, HasTheFilesOfItsListsAndWhatWasWritten)
{
    ScriptedFileManager files;
    EXPECT_FALSE(files.fileExists("/etc/apt"));
    files.setExisting({ "/etc/apt" });
    files.setWritable({ "/private/file" });

    EXPECT_TRUE(files.fileExists("/etc/apt"));
    EXPECT_FALSE(files.fileExists("/private/file"));
    EXPECT_FALSE(files.writeAtomically("/etc/apt", "text"));
    EXPECT_TRUE(files.writeAtomically("/private/file", "text"));
    EXPECT_TRUE(files.fileExists("/private/file"));
    EXPECT_EQ(files.writtenText("/private/file"), "text");
    EXPECT_EQ(files.writtenText("/etc/apt"), std::nullopt);
}

TEST(ScriptedFileManagerTest, TellsOfProbesAndWritesWhateverTheOutcome)
{
    ScriptedFileManager files;
    std::string told;
    files.setProbeObserver([&](const std::string& path) { told += "?" + path + " "; });
    files.setWriteObserver([&](const std::string& path, const std::string& text) {
        told += "!" + path + "=" + text + " ";
    });

    files.fileExists("/a");
    files.writeAtomically("/b", "text");

    EXPECT_EQ(told, "?/a !/b=text ");
}

TEST(ScriptedApplicationTest, OpensTheNamedURLsAlone)
{
    ScriptedApplication application;
    std::string told;
    application.setOpenObserver([&](const std::string& url) { told += url + " "; });
    EXPECT_FALSE(application.canOpenURL("cydia://a"));

    application.setOpenableURLs({ "cydia://a" });

    EXPECT_TRUE(application.canOpenURL("cydia://a"));
    EXPECT_FALSE(application.canOpenURL("cydia://b"));
    EXPECT_EQ(told, "cydia://a cydia://a cydia://b ");
}

TEST(ScriptedTelephonyTest, HasNoTelephonyAtTheStartAndThenTheServicesInTheGivenOrder)
{
    ScriptedTelephony telephony;
    std::string asked;
    telephony.setQuestionObserver([&](const std::string& question) { asked += question + " "; });
    EXPECT_EQ(telephony.serviceSubscriberCellularProviders(), std::nullopt);
    EXPECT_EQ(telephony.serviceCurrentRadioAccessTechnology(), std::nullopt);

    telephony.setCarriers(Telephony::Carriers {
        { "2", { .carrierName = "B", .isoCountryCode = "de" } }, { "1", {} } });
    telephony.setRadioTechnologies(
        Telephony::RadioTechnologies { { "1", "CTRadioAccessTechnologyLTE" } });

    const auto carriers = telephony.serviceSubscriberCellularProviders();
    ASSERT_EQ(carriers->size(), 2U);
    EXPECT_EQ(carriers->front().first, "2");
    EXPECT_EQ(carriers->front().second.carrierName, "B");
    EXPECT_EQ(carriers->back().second.isoCountryCode, std::nullopt);
    EXPECT_EQ(telephony.serviceCurrentRadioAccessTechnology()->front().second,
        "CTRadioAccessTechnologyLTE");
    EXPECT_EQ(asked, "carriers radio carriers radio ");
}

} // namespace
} // namespace telvora
