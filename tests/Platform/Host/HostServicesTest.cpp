// The services that only keep what the host says.

#include <Telvora/Platform/Host/HostBundle.h>
#include <Telvora/Platform/Host/HostLifeCycleChecker.h>
#include <Telvora/Platform/Host/HostNotificationCenter.h>
#include <Telvora/Platform/Host/HostScreenHierarchy.h>
#include <Telvora/Platform/Host/HostTelephony.h>

#include <tests/Base/JSONTesting.h>
#include <tests/Platform/NotificationCenterContract.h>
#include <tests/Platform/PlainTrace.h>

#include <gtest/gtest.h>

#include <atomic>

namespace telvora {
namespace {

struct HostNotificationCenterSubject {
    NotificationCenter& center() { return notifications; }

    HostNotificationCenter notifications;
};

INSTANTIATE_TYPED_TEST_SUITE_P(
    HostNotificationCenter, NotificationCenterContract, HostNotificationCenterSubject);
INSTANTIATE_TYPED_TEST_SUITE_P(
    HostNotificationCenterQuirk, NotificationCenterQuirk, HostNotificationCenterSubject);

TEST(HostBundleTest, AnEntryMayBeNestedDeeperThanAnyStack)
{
    HostBundle::Options options;
    options.infoDictionary.emplace("deep", deepDictionary(200'000));
    const HostBundle bundle(std::move(options));

    std::optional<Value> entry = bundle.objectForInfoDictionaryKey("deep");

    ASSERT_TRUE(entry);
    EXPECT_EQ(entry->get_object().size(), 2U);
    dispose(std::move(*entry));
}

TEST(HostNotificationCenterTest, ManyThreadsMayPostAndRegister)
{
    HostNotificationCenter center;
    std::atomic<int> heard { 0 };
    std::vector<std::thread> threads;

    for (int count = 0; count < 4; ++count) {
        threads.emplace_back([&] {
            const int observer = 0;
            for (int round = 0; round < 200; ++round) {
                center.addObserver(&observer, Notification::didEnterBackground, [&] { ++heard; });
                center.post(Notification::didEnterBackground);
                center.removeObserver(&observer, Notification::didEnterBackground);
            }
        });
    }
    for (auto& thread : threads)
        thread.join();

    EXPECT_GE(heard, 800);
}

TEST(HostBundleTest, KnowsWhatTheHostSaid)
{
    const HostBundle bundle({ "Host", "1.4.2", "com.example.host", {} });

    EXPECT_EQ(bundle.objectForInfoDictionaryKey("CFBundleShortVersionString"), Value("1.4.2"));
    EXPECT_EQ(bundle.objectForInfoDictionaryKey("CFBundleName"), Value("Host"));
    EXPECT_EQ(bundle.bundleIdentifier(), "com.example.host");
}

TEST(HostBundleTest, IsSilentOnWhatTheHostDidNotSay)
{
    const HostBundle bundle({});

    EXPECT_EQ(bundle.objectForInfoDictionaryKey("CFBundleShortVersionString"), std::nullopt);
    EXPECT_EQ(bundle.objectForInfoDictionaryKey("Other"), std::nullopt);
    EXPECT_EQ(bundle.bundleIdentifier(), std::nullopt);
}

TEST(HostBundleTest, EntriesOfTheHostGoFirstWhateverTheirType)
{
    Dictionary entries { { "CFBundleShortVersionString", 7 }, { "Flag", true } };
    const HostBundle bundle({ {}, "1.4.2", {}, std::move(entries) });

    EXPECT_EQ(bundle.objectForInfoDictionaryKey("CFBundleShortVersionString"), Value(7));
    EXPECT_EQ(bundle.objectForInfoDictionaryKey("Flag"), Value(true));
}

TEST(HostTelephonyTest, AMachineWithoutModemsHasNoLists)
{
    const HostTelephony telephony;

    EXPECT_FALSE(telephony.serviceSubscriberCellularProviders());
    EXPECT_FALSE(telephony.serviceCurrentRadioAccessTechnology());
}

TEST(HostTelephonyTest, ShowsWhatWasPublishedLast)
{
    HostTelephony telephony;

    telephony.publish({ Telephony::Carriers { { "0", { "Carrier", "de" } } },
        Telephony::RadioTechnologies { { "0", "CTRadioAccessTechnologyLTE" } } });

    const auto carriers = telephony.serviceSubscriberCellularProviders();
    const auto technologies = telephony.serviceCurrentRadioAccessTechnology();
    ASSERT_TRUE(carriers && technologies);
    EXPECT_EQ(carriers->front().second.carrierName, "Carrier");
    EXPECT_EQ(technologies->front().second, "CTRadioAccessTechnologyLTE");
}

TEST(HostTelephonyTest, ReadersNeverMeetHalfASnapshot)
{
    HostTelephony telephony;
    std::thread publisher([&] {
        for (std::size_t size = 0; size < 500; ++size)
            telephony.publish({ Telephony::Carriers(size % 9, { "id", { "name", "xx" } }), {} });
    });

    for (int round = 0; round < 500; ++round) {
        const auto carriers = telephony.serviceSubscriberCellularProviders();
        for (const auto& [service, carrier] : carriers.value_or(Telephony::Carriers {}))
            EXPECT_EQ(carrier.isoCountryCode, "xx");
    }
    publisher.join();
}

struct PlainWindow final : UIWindow {
    std::shared_ptr<UIViewController> rootViewController() const override { return nullptr; }
};

TEST(HostScreenHierarchyTest, HasNoKeyWindowUntilSomebodySuppliesOne)
{
    const auto window = std::make_shared<PlainWindow>();
    HostScreenHierarchy screens;
    EXPECT_EQ(screens.keyWindow(), nullptr);

    screens.setKeyWindowSupplier([&] { return window; });
    EXPECT_EQ(screens.keyWindow(), window);

    screens.setKeyWindowSupplier({});
    EXPECT_EQ(screens.keyWindow(), nullptr);
}

TEST(HostLifeCycleCheckerTest, MakesNoAdaptorWithoutAFactory)
{
    const HostLifeCycleChecker checker;

    EXPECT_EQ(checker.create("Module.Scene"), nullptr);
}

TEST(HostLifeCycleCheckerTest, MakesAdaptorsFromTheNewestFactory)
{
    HostLifeCycleChecker checker;
    std::string made;
    checker.registerAdaptor([&](const std::string&) {
        made += "old ";
        return nullptr;
    });
    checker.registerAdaptor([&](const std::string& sceneName) {
        made += sceneName;
        return std::make_unique<PlainTrace>();
    });

    EXPECT_NE(checker.create("Module.Scene"), nullptr);

    EXPECT_EQ(made, "Module.Scene");
}

} // namespace
} // namespace telvora
