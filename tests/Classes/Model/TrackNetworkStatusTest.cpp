#include <Telvora/Classes/Model/TrackNetworkStatus.h>

#include <Telvora/Base/HostCall.h>
#include <Telvora/Platform/Simulated/SimulatedPlatform.h>

#include <gmock/gmock.h>

#include <ostream>
#include <stdexcept>

namespace telvora {
namespace {

using Connection = Reachability::Connection;
using Reached = ScriptedReachability::Value;
using Type = TrackNetworkStatusType;
using testing::ElementsAre;

class TrackNetworkStatusTest : public testing::Test {
protected:
    TrackNetworkStatusTest() { installPlatform(simulated.services()); }

    Type typeWith(const std::vector<std::string>& technologies)
    {
        Telephony::RadioTechnologies services;
        for (const std::string& technology : technologies)
            services.emplace_back(
                std::to_string(services.size()), "CTRadioAccessTechnology" + technology);
        simulated.telephony().setRadioTechnologies(std::move(services));
        return TrackNetworkStatus::of(Connection::cellular).networkType;
    }

    SimulatedPlatform& simulated = *new SimulatedPlatform;
};
using TrackNetworkStatusQuirk = TrackNetworkStatusTest;

TEST_F(TrackNetworkStatusTest, OnlyNoConnectionIsNotConnected)
{
    EXPECT_EQ(TrackNetworkStatus::of(Connection::none), (TrackNetworkStatus { false, Type::none }));
    EXPECT_EQ(TrackNetworkStatus::of(Connection::wifi),
        (TrackNetworkStatus { true, Type::network_wifi }));
    EXPECT_EQ(
        TrackNetworkStatus::of(Connection::cellular), (TrackNetworkStatus { true, Type::unknown }));
}

TEST_F(TrackNetworkStatusTest, EachRadioTechnologyHasItsType)
{
    const std::pair<const char*, Type> table[] {
        { "GPRS", Type::network_2g },
        { "Edge", Type::network_2g },
        { "WCDMA", Type::network_3g },
        { "HSDPA", Type::network_3g },
        { "HSUPA", Type::network_3g },
        { "CDMAEVDORev0", Type::network_3g },
        { "CDMAEVDORevA", Type::network_3g },
        { "CDMAEVDORevB", Type::network_3g },
        { "eHRPD", Type::network_3g },
        { "LTE", Type::network_4g },
        { "NRNSA", Type::network_5g },
        { "NR", Type::network_5g },
        { "lte", Type::unknown },
        { "", Type::unknown },
    };
    for (const auto& [technology, type] : table)
        EXPECT_EQ(typeWith({ technology }), type) << technology;
    simulated.telephony().setRadioTechnologies({ { { "1", "LTE" } } });
    EXPECT_EQ(TrackNetworkStatus::of(Connection::cellular).networkType, Type::unknown);
}

TEST_F(TrackNetworkStatusTest, TheBestTypeOfAllServicesIsTakenInAnyOrder)
{
    EXPECT_EQ(typeWith({ "LTE", "WCDMA" }), Type::network_4g);
    EXPECT_EQ(typeWith({ "WCDMA", "LTE" }), Type::network_4g);
    EXPECT_EQ(typeWith({ "strange", "Edge", "NR", "LTE" }), Type::network_5g);
    EXPECT_EQ(typeWith({ "strange", "stranger" }), Type::unknown);
    EXPECT_EQ(typeWith({}), Type::unknown);
}

TEST_F(TrackNetworkStatusTest, RanksRiseFrom2GTo5G)
{
    EXPECT_EQ(cellularRank(Type::network_2g), 0);
    EXPECT_EQ(cellularRank(Type::network_3g), 1);
    EXPECT_EQ(cellularRank(Type::network_4g), 2);
    EXPECT_EQ(cellularRank(Type::network_5g), 3);
    for (const Type type : { Type::network_wifi, Type::unknown, Type::none })
        EXPECT_EQ(cellularRank(type), std::nullopt);
}

TEST_F(TrackNetworkStatusTest, TheJSONTextHasTwoMembers)
{
    const TrackNetworkStatus status { true, Type::network_4g };

    EXPECT_EQ(status.encode(), R"({"isConnected":true,"networkType":"4G"})");
    EXPECT_EQ(TrackNetworkStatus::decode(status.encode()), status);
    EXPECT_EQ(TrackNetworkStatus::of(Connection::cellular).encode(),
        R"({"isConnected":true,"networkType":"unknown"})");
}

TEST_F(TrackNetworkStatusTest, ATextWithoutBothMembersIsNoStatus)
{
    for (const char* text : { "", "[]", "{}", R"({"isConnected":true})", R"({"networkType":"4G"})",
             R"({"isConnected":true,"networkType":"LTE"})",
             R"({"isConnected":1,"networkType":"4G"})", R"({"isConnected":true,"networkType":4})",
             R"({"isConnected":null,"networkType":"4G"})" })
        EXPECT_EQ(TrackNetworkStatus::decode(text), std::nullopt) << text;
    EXPECT_EQ(TrackNetworkStatus::decode(R"({"x":1,"networkType":"none","isConnected":false})"),
        (TrackNetworkStatus { false, Type::none }));
}

TEST_F(TrackNetworkStatusTest, TheHandlerIsCalledOnChangesWhileTheNotifierRuns)
{
    std::vector<std::string> told;
    {
        CommonTrackNetworkStatus holder;
        holder.onStatusChange([&](TrackNetworkStatus status) { told.push_back(status.encode()); });
        ASSERT_TRUE(holder.reachability()->startNotifier());
        simulated.reachability().setConnection(Reached::none);
        simulated.runUntilIdle();
        simulated.reachability().setConnection(Reached::wifi);
        simulated.runUntilIdle();
    }
    simulated.reachability().setConnection(Reached::none);
    simulated.runUntilIdle();

    EXPECT_THAT(told,
        ElementsAre(R"({"isConnected":false,"networkType":"none"})",
            R"({"isConnected":true,"networkType":"WIFI"})"));
}

TEST_F(TrackNetworkStatusTest, ANewHandlerReplacesTheOld)
{
    int first = 0;
    int second = 0;
    CommonTrackNetworkStatus holder;
    holder.onStatusChange([&](TrackNetworkStatus) { ++first; });
    holder.onStatusChange([&](TrackNetworkStatus) { ++second; });
    holder.reachability()->startNotifier();

    simulated.reachability().setConnection(Reached::none);
    simulated.runUntilIdle();

    EXPECT_EQ(first, 0);
    EXPECT_EQ(second, 1);
}

TEST_F(TrackNetworkStatusTest, AHandlerThatThrowsIsCounted)
{
    CommonTrackNetworkStatus holder;
    holder.onStatusChange([](TrackNetworkStatus) { throw std::runtime_error("x"); });
    holder.reachability()->startNotifier();
    const auto exceptions = hostExceptionCount();

    simulated.reachability().setConnection(Reached::none);
    simulated.runUntilIdle();

    EXPECT_EQ(hostExceptionCount(), exceptions + 1);
}

TEST_F(TrackNetworkStatusTest, DestroyingTheHolderStopsItsNotifier)
{
    std::vector<ScriptedReachability::NotifierAction> actions;
    simulated.reachability().setNotifierObserver(
        [&](ScriptedReachability::NotifierAction action) { actions.push_back(action); });
    {
        const CommonTrackNetworkStatus holder;
    }
    EXPECT_THAT(actions, ElementsAre(ScriptedReachability::NotifierAction::stop));
}

TEST_F(TrackNetworkStatusTest, AHolderWithoutReachabilityDoesNothing)
{
    simulated.reachability().setConnection(Reached::unavailable);
    CommonTrackNetworkStatus holder;

    holder.onStatusChange([](TrackNetworkStatus) { FAIL(); });

    EXPECT_EQ(holder.reachability(), nullptr);
}

TEST_F(TrackNetworkStatusQuirk, CDMA1xCountsAs3G)
{
    EXPECT_EQ(typeWith({ "CDMA1x" }), Type::network_3g);
}

// Whether a device is earlier than iPhone 12 is computed once, so each device has its own case.
struct DeviceRow {
    const char* name;
    std::string identifier;
    std::string systemVersion;
    UserInterfaceIdiom idiom;
    bool isEarlier;
    bool knows5G;
};

void PrintTo(const DeviceRow& row, std::ostream* out)
{
    *out << row.name;
}

class EarlierThanIPhone12Test : public testing::TestWithParam<DeviceRow> { };

TEST_P(EarlierThanIPhone12Test, FiveGIsKnownFromIPhone12AndSystem14_1)
{
    auto& simulated = *new SimulatedPlatform;
    installPlatform(simulated.services());
    auto device = simulated.device().values();
    device.identifier = GetParam().identifier;
    device.systemVersion = GetParam().systemVersion;
    device.idiom = GetParam().idiom;
    simulated.device().setValues(device);

    EXPECT_EQ(isEarlierThanIPhone12(), GetParam().isEarlier);
    const auto fifth = GetParam().knows5G ? std::optional(Type::network_5g) : std::nullopt;
    EXPECT_EQ(cellularType("CTRadioAccessTechnologyNR"), fifth);
    EXPECT_EQ(cellularType("CTRadioAccessTechnologyNRNSA"), fifth);
}

constexpr auto phone = UserInterfaceIdiom::phone;
constexpr auto pad = UserInterfaceIdiom::pad;

INSTANTIATE_TEST_SUITE_P(Devices, EarlierThanIPhone12Test,
    testing::Values(DeviceRow { "IPhone12", "iPhone13,2", "14.1", phone, false, true },
        DeviceRow { "OldSystem", "iPhone13,2", "14.0", phone, false, false },
        DeviceRow { "NewSystem", "iPhone13,2", "15.0", phone, false, true },
        DeviceRow { "IPhone11", "iPhone12,1", "15.0", phone, true, false },
        DeviceRow { "Pad", "iPad8,1", "15.0", pad, false, true },
        DeviceRow { "Simulator", "Simulator", "15.0", phone, true, false },
        DeviceRow { "SimulatedPad", "Simulator", "15.0", pad, false, true },
        DeviceRow { "NothingLeft", "iPhone", "15.0", phone, false, true },
        DeviceRow { "OnlyCommas", "iPhone,,", "15.0", phone, false, true },
        DeviceRow { "EmptyPieces", "iPhone,,14", "15.0", phone, false, true },
        DeviceRow { "MakerTwice", "iPhoneiPhone13", "15.0", phone, false, true },
        DeviceRow { "NoNumber", "iPhoneX,1", "15.0", phone, true, false },
        DeviceRow { "HugeNumber", "iPhone99999999999999999999,1", "15.0", phone, true, false }),
    [](const auto& row) { return std::string(row.param.name); });

} // namespace
} // namespace telvora
