#pragma once

#include <Telvora/Platform/NotificationCenter.h>

#include <gtest/gtest.h>

#include <string>
#include <thread>

namespace telvora {

/// What every NotificationCenter promises. `Subject` is made without arguments and has
/// `NotificationCenter& center()`.
template<typename Subject> class NotificationCenterContract : public testing::Test {
protected:
    NotificationCenter& center() { return subject.center(); }

    void add(const int& observer, Notification notification, std::string word)
    {
        center().addObserver(
            &observer, notification, [this, word = std::move(word)] { heard += word; });
    }

    Subject subject;
    std::string heard;
    /// Only their addresses count.
    int first = 0;
    int second = 0;
};

TYPED_TEST_SUITE_P(NotificationCenterContract);

TYPED_TEST_P(NotificationCenterContract, RunsObserversInTheOrderOfTheirRegistration)
{
    this->add(this->second, Notification::didEnterBackground, "a");
    this->add(this->first, Notification::didEnterBackground, "b");
    this->add(this->second, Notification::didEnterBackground, "c");

    this->center().post(Notification::didEnterBackground);

    EXPECT_EQ(this->heard, "abc");
}

TYPED_TEST_P(NotificationCenterContract, RunsObserversOnThePostingThread)
{
    std::thread::id thread;
    this->center().addObserver(&this->first, Notification::didEnterBackground,
        [&] { thread = std::this_thread::get_id(); });

    this->center().post(Notification::didEnterBackground);

    EXPECT_EQ(thread, std::this_thread::get_id());
}

TYPED_TEST_P(NotificationCenterContract, AnObserverHearsOnlyWhatItRegisteredFor)
{
    this->add(this->first, Notification::didEnterBackground, "background ");
    this->add(this->first, Notification::willEnterForeground, "foreground ");

    this->center().post(Notification::willEnterForeground);

    EXPECT_EQ(this->heard, "foreground ");
}

TYPED_TEST_P(NotificationCenterContract, RemovingTakesEveryRegistrationForThatNotification)
{
    this->add(this->first, Notification::didEnterBackground, "a");
    this->add(this->first, Notification::didEnterBackground, "b");
    this->add(this->first, Notification::willEnterForeground, "c");
    this->add(this->second, Notification::didEnterBackground, "d");

    this->center().removeObserver(&this->first, Notification::didEnterBackground);
    this->center().post(Notification::didEnterBackground);
    this->center().post(Notification::willEnterForeground);

    EXPECT_EQ(this->heard, "dc");
}

TYPED_TEST_P(NotificationCenterContract, RemovingAnUnknownObserverDoesNothing)
{
    this->add(this->first, Notification::didEnterBackground, "a");

    this->center().removeObserver(&this->second, Notification::didEnterBackground);
    this->center().post(Notification::didEnterBackground);

    EXPECT_EQ(this->heard, "a");
}

TYPED_TEST_P(NotificationCenterContract, AnObserverMayRemoveItselfWhileItIsCalled)
{
    this->center().addObserver(&this->first, Notification::didEnterBackground, [this] {
        this->heard += "a";
        this->center().removeObserver(&this->first, Notification::didEnterBackground);
    });

    this->center().post(Notification::didEnterBackground);
    this->center().post(Notification::didEnterBackground);

    EXPECT_EQ(this->heard, "a");
}

TYPED_TEST_P(NotificationCenterContract, AnObserverRemovedByAnEarlierOneIsNotCalled)
{
    this->center().addObserver(&this->first, Notification::didEnterBackground,
        [this] { this->center().removeObserver(&this->second, Notification::didEnterBackground); });
    this->add(this->second, Notification::didEnterBackground, "b");

    this->center().post(Notification::didEnterBackground);

    EXPECT_EQ(this->heard, "");
}

TYPED_TEST_P(NotificationCenterContract, AnObserverAddedDuringAPostHearsTheNextOne)
{
    this->center().addObserver(&this->first, Notification::didEnterBackground, [this] {
        this->center().removeObserver(&this->first, Notification::didEnterBackground);
        this->add(this->second, Notification::didEnterBackground, "b");
    });

    this->center().post(Notification::didEnterBackground);
    this->heard.clear();
    this->center().post(Notification::didEnterBackground);

    EXPECT_EQ(this->heard, "b");
}

TYPED_TEST_P(NotificationCenterContract, AnObserverMayPost)
{
    this->add(this->second, Notification::willEnterForeground, "b");
    this->center().addObserver(&this->first, Notification::didEnterBackground, [this] {
        this->heard += "a";
        this->center().post(Notification::willEnterForeground);
    });

    this->center().post(Notification::didEnterBackground);

    EXPECT_EQ(this->heard, "ab");
}

REGISTER_TYPED_TEST_SUITE_P(NotificationCenterContract, RunsObserversInTheOrderOfTheirRegistration,
    RunsObserversOnThePostingThread, AnObserverHearsOnlyWhatItRegisteredFor,
    RemovingTakesEveryRegistrationForThatNotification, RemovingAnUnknownObserverDoesNothing,
    AnObserverMayRemoveItselfWhileItIsCalled, AnObserverRemovedByAnEarlierOneIsNotCalled,
    AnObserverAddedDuringAPostHearsTheNextOne, AnObserverMayPost);

/// The one oddity of a centre.
template<typename Subject>
class NotificationCenterQuirk : public NotificationCenterContract<Subject> {
};

TYPED_TEST_SUITE_P(NotificationCenterQuirk);

TYPED_TEST_P(NotificationCenterQuirk, AnObserverRegisteredTwiceHearsEachPostTwice)
{
    this->add(this->first, Notification::didEnterBackground, "a");
    this->add(this->first, Notification::didEnterBackground, "a");

    this->center().post(Notification::didEnterBackground);

    EXPECT_EQ(this->heard, "aa");
}

REGISTER_TYPED_TEST_SUITE_P(NotificationCenterQuirk, AnObserverRegisteredTwiceHearsEachPostTwice);

} // namespace telvora
