#include <Telvora/Classes/Model/CommonTrackerModel.h>
#include <Telvora/Classes/Model/TrackerDataExcavator.h>
#include <Telvora/Platform/Simulated/SimulatedPlatform.h>

#include <gmock/gmock.h>

#include <ostream>

namespace telvora {
namespace {

using testing::ElementsAre;
using Excavator = TrackerDataExcavator;

// Each value that is computed once has its own case, since every case runs in its own process.

struct CarrierRow {
    const char* name;
    std::optional<Telephony::Carriers> carriers;
    std::string expected;
};

void PrintTo(const CarrierRow& row, std::ostream* out)
{
    *out << row.name;
}

class MobileOperatorQuirk : public testing::TestWithParam<CarrierRow> { };

TEST_P(MobileOperatorQuirk, IsTheNameOfTheFirstCarrierOrNoneWithoutACountry)
{
    auto& simulated = *new SimulatedPlatform;
    installPlatform(simulated.services());
    simulated.telephony().setCarriers(GetParam().carriers);

    EXPECT_EQ(Excavator::mobileOperator(), GetParam().expected);

    simulated.telephony().setCarriers({ { { "1", { "later", "us" } } } });
    EXPECT_EQ(Excavator::mobileOperator(), GetParam().expected);
}

INSTANTIATE_TEST_SUITE_P(Carriers, MobileOperatorQuirk,
    testing::Values(CarrierRow { "NoTelephony", std::nullopt, "None" },
        CarrierRow { "NoService", Telephony::Carriers(), "None" },
        CarrierRow { "OneCarrier", { { { "1", { "Blue", "de" } } } }, "Blue" },
        CarrierRow { "NoCountry", { { { "1", { "Blue", std::nullopt } } } }, "None" },
        CarrierRow { "NoName", { { { "1", { std::nullopt, "de" } } } }, "None" },
        CarrierRow { "EmptyTexts", { { { "1", { "", "" } } } }, "" },
        CarrierRow {
            "TheFirstOfTwo", { { { "2", { "Red", "fr" } }, { "1", { "Blue", "de" } } } }, "Red" },
        CarrierRow { "TheFirstHasNoSIM",
            { { { "2", { "Red", std::nullopt } }, { "1", { "Blue", "de" } } } }, "None" }),
    [](const auto& row) { return std::string(row.param.name); });

// The questions of the probe, in order. The first sign that it finds ends the probe.
const std::vector<std::string>& probeOrder()
{
    static const auto& order = *new std::vector<std::string> {
        "/Applications/Cydia.app",
        "/Library/MobileSubstrate/MobileSubstrate.dylib",
        "/bin/bash",
        "/usr/sbin/sshd",
        "/etc/apt",
        "/private/var/lib/apt/",
        "cydia://package/com.example.package",
        "/private/JailbreakTest.txt: Jailbreak Test",
    };
    return order;
}

class JailbreakProbeTest : public testing::TestWithParam<std::size_t> {
protected:
    JailbreakProbeTest()
    {
        installPlatform(simulated.services());
        simulated.fileManager().setProbeObserver(
            [this](const std::string& path) { asked.push_back(path); });
        simulated.application().setOpenObserver(
            [this](const std::string& url) { asked.push_back(url); });
        simulated.fileManager().setWriteObserver(
            [this](const std::string& path, const std::string& text) {
                asked.push_back(path + ": " + text);
            });
    }

    void giveSign(std::size_t place)
    {
        if (place < 6)
            simulated.fileManager().setExisting({ probeOrder()[place] });
        else if (place == 6)
            simulated.application().setOpenableURLs({ probeOrder()[place] });
        else if (place == 7)
            simulated.fileManager().setWritable({ "/private/JailbreakTest.txt" });
    }

    SimulatedPlatform& simulated = *new SimulatedPlatform;
    std::vector<std::string> asked;
};
using JailbreakProbeQuirk = JailbreakProbeTest;

TEST_P(JailbreakProbeTest, StopsAtTheFirstSign)
{
    const std::size_t place = GetParam();
    giveSign(place);

    EXPECT_EQ(Excavator::jailbreaked(), place < probeOrder().size());

    const std::size_t asks = std::min(place + 1, probeOrder().size());
    EXPECT_EQ(asked,
        std::vector<std::string>(
            probeOrder().begin(), probeOrder().begin() + static_cast<std::ptrdiff_t>(asks)));
    asked.clear();
    Excavator::jailbreaked();
    EXPECT_TRUE(asked.empty());
}

INSTANTIATE_TEST_SUITE_P(Signs, JailbreakProbeTest, testing::Range(std::size_t(0), std::size_t(9)));

TEST_P(JailbreakProbeQuirk, LeavesItsFileBehind)
{
    giveSign(GetParam());
    Excavator::jailbreaked();

    EXPECT_EQ(simulated.fileManager().writtenText("/private/JailbreakTest.txt"), "Jailbreak Test");
}

INSTANTIATE_TEST_SUITE_P(Writable, JailbreakProbeQuirk, testing::Values(std::size_t(7)));

class CommonTrackerModelTest : public testing::Test {
protected:
    CommonTrackerModelTest() { installPlatform(simulated.services()); }

    static std::optional<std::string> textOf(const Dictionary& dictionary)
    {
        return encode(dictionary);
    }

    SimulatedPlatform& simulated = *new SimulatedPlatform;
};

TEST_F(CommonTrackerModelTest, HasEightKeysInTheirOrder)
{
    EXPECT_EQ(textOf(CommonTrackerModel().asDictionary()),
        R"({"brand":"iPhone 12","version":"1.0.0","root":false,"operator":"None",)"
        R"("sVersion":"1.0","os":"15.0","appId":"com.example.host","client":"ios"})");
}

TEST_F(CommonTrackerModelTest, TheWrapperHasFourKeysInTheirOrder)
{
    EXPECT_EQ(textOf(TrackerWrapper().asDictionary()),
        R"({"brand":"iPhone 12","appVersion":"1.0.0","jailbreaked":false,"operator":"None"})");
}

TEST_F(CommonTrackerModelTest, AnAbsentValueIsNull)
{
    simulated.bundle().setInfoDictionary({});
    simulated.bundle().setBundleIdentifier(std::nullopt);
    Excavator::setModelName(std::nullopt);
    Excavator::setSystemVersion(std::nullopt);

    EXPECT_EQ(textOf(CommonTrackerModel().asDictionary()),
        R"({"brand":null,"version":null,"root":false,"operator":"None","sVersion":"1.0",)"
        R"("os":null,"appId":null,"client":"ios"})");
    EXPECT_EQ(textOf(TrackerWrapper().asDictionary()),
        R"({"brand":null,"appVersion":null,"jailbreaked":false,"operator":"None"})");
}

TEST_F(CommonTrackerModelTest, TheBundleIdentifierIsReadForEachRecord)
{
    const CommonTrackerModel first;
    simulated.bundle().setBundleIdentifier("another");

    EXPECT_EQ(first.appId, "com.example.host");
    EXPECT_EQ(CommonTrackerModel().appId, "another");
}

TEST_F(CommonTrackerModelTest, ARecordKeepsTheValuesOfTheTimeOfItsMaking)
{
    CommonTrackerModel record;
    Excavator::setMobileOperator("Blue");
    record.client = "mine";

    EXPECT_EQ(record.operator_, "None");
    EXPECT_EQ(record.asDictionary().at("client"), "mine");
    EXPECT_EQ(CommonTrackerModel().operator_, "Blue");
}

} // namespace
} // namespace telvora
