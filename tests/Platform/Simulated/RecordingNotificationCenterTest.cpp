#include <Telvora/Platform/Simulated/RecordingNotificationCenter.h>

#include <gtest/gtest.h>

#include <string>

namespace telvora {
namespace {

TEST(RecordingNotificationCenterTest, TellsOfEachRegistrationAndEachRemoval)
{
    RecordingNotificationCenter center;
    std::string told;
    center.setObservationObserver([&](RecordingNotificationCenter::Action action,
                                      Notification notification) {
        told += action == RecordingNotificationCenter::Action::observe ? "+" : "-";
        told += notification == Notification::didEnterBackground ? "background " : "foreground ";
    });
    const int observer = 0;

    center.addObserver(&observer, Notification::willEnterForeground, [] {});
    center.addObserver(&observer, Notification::didEnterBackground, [] {});
    center.removeObserver(&observer, Notification::willEnterForeground);
    center.removeObserver(&observer, Notification::willEnterForeground);

    EXPECT_EQ(told, "+foreground +background -foreground -foreground ");
}

TEST(RecordingNotificationCenterTest, CountsRegistrations)
{
    RecordingNotificationCenter center;
    const int observer = 0;

    center.addObserver(&observer, Notification::didEnterBackground, [] {});
    center.addObserver(&observer, Notification::didEnterBackground, [] {});
    EXPECT_EQ(center.registrationCount(Notification::didEnterBackground), 2U);
    EXPECT_EQ(center.registrationCount(Notification::willEnterForeground), 0U);

    center.removeObserver(&observer, Notification::didEnterBackground);
    EXPECT_EQ(center.registrationCount(Notification::didEnterBackground), 0U);
}

} // namespace
} // namespace telvora
