#pragma once

#include <Telvora/Platform/Reachability.h>

#include <gtest/gtest.h>

#include <memory>
#include <string>

namespace telvora {

/// What every ReachabilityService promises. `Subject` is made without arguments and has
/// - `ReachabilityService& service()`,
/// - `bool canChange()`: whether the next one does anything; a machine may forbid it, and then the
///   subject fails or skips the case,
/// - `void change(Reachability::Connection)`: makes the connection so and returns when objects
///   show it,
/// - `void runMain()`: returns when what was handed to the main queue has run.
/// It starts without a connection where it can change it.
template<typename Subject> class ReachabilityContract : public testing::Test {
protected:
    std::unique_ptr<Reachability> make()
    {
        return subject.service().makeReachability(ReachabilityService::Use::held);
    }

    /// A callback that records the connections that it gets.
    std::unique_ptr<Reachability> makeHeard()
    {
        auto object = make();
        object->setWhenReachable([this](Reachability::Connection now) {
            heard += now == Reachability::Connection::wifi ? "wifi " : "cellular ";
        });
        object->setWhenUnreachable([this](Reachability::Connection) { heard += "none "; });
        return object;
    }

    void change(Reachability::Connection connection)
    {
        subject.change(connection);
        subject.runMain();
    }

    Subject subject;
    std::string heard;
};

TYPED_TEST_SUITE_P(ReachabilityContract);

TYPED_TEST_P(ReachabilityContract, EveryObjectShowsTheConnectionOfTheMoment)
{
    using Connection = Reachability::Connection;
    if (!this->subject.canChange())
        return;
    const auto held = this->make();

    for (const auto connection :
        { Connection::none, Connection::wifi, Connection::cellular, Connection::none }) {
        this->change(connection);

        EXPECT_EQ(held->connection(), connection);
        EXPECT_EQ(this->subject.service()
                      .makeReachability(ReachabilityService::Use::oneReading)
                      ->connection(),
            connection);
    }
}

TYPED_TEST_P(ReachabilityContract, EachChangeIsToldOnceInOrder)
{
    using Connection = Reachability::Connection;
    if (!this->subject.canChange())
        return;
    const auto object = this->makeHeard();

    EXPECT_TRUE(object->startNotifier());
    this->change(Connection::wifi);
    this->change(Connection::cellular);
    this->change(Connection::none);

    EXPECT_EQ(this->heard, "wifi cellular none ");
}

TYPED_TEST_P(ReachabilityContract, WhatTheNotifierFindsAtItsStartIsNotTold)
{
    using Connection = Reachability::Connection;
    if (!this->subject.canChange())
        return;
    this->change(Connection::wifi);
    const auto object = this->makeHeard();

    EXPECT_TRUE(object->startNotifier());
    this->subject.runMain();

    EXPECT_EQ(this->heard, "");
}

TYPED_TEST_P(ReachabilityContract, NothingIsToldBeforeTheStartAndAfterTheStop)
{
    using Connection = Reachability::Connection;
    if (!this->subject.canChange())
        return;
    const auto object = this->makeHeard();

    this->change(Connection::wifi);
    EXPECT_TRUE(object->startNotifier());
    this->change(Connection::none);
    object->stopNotifier();
    this->change(Connection::wifi);

    EXPECT_EQ(this->heard, "none ");
}

TYPED_TEST_P(ReachabilityContract, ASecondStartTellsNothingTwice)
{
    using Connection = Reachability::Connection;
    if (!this->subject.canChange())
        return;
    const auto object = this->makeHeard();

    EXPECT_TRUE(object->startNotifier());
    EXPECT_TRUE(object->startNotifier());
    this->change(Connection::wifi);

    EXPECT_EQ(this->heard, "wifi ");
}

TYPED_TEST_P(ReachabilityContract, DestroyingTheObjectEndsItsCallbacks)
{
    using Connection = Reachability::Connection;
    if (!this->subject.canChange())
        return;
    auto object = this->makeHeard();
    EXPECT_TRUE(object->startNotifier());

    object.reset();
    this->change(Connection::wifi);

    EXPECT_EQ(this->heard, "");
}

TYPED_TEST_P(ReachabilityContract, ACallbackMayDestroyItsObject)
{
    using Connection = Reachability::Connection;
    if (!this->subject.canChange())
        return;
    auto object = this->makeHeard();
    object->setWhenReachable([&](Connection) { object.reset(); });
    EXPECT_TRUE(object->startNotifier());

    this->change(Connection::wifi);
    this->change(Connection::none);

    EXPECT_EQ(object, nullptr);
    EXPECT_EQ(this->heard, "");
}

REGISTER_TYPED_TEST_SUITE_P(ReachabilityContract, EveryObjectShowsTheConnectionOfTheMoment,
    EachChangeIsToldOnceInOrder, WhatTheNotifierFindsAtItsStartIsNotTold,
    NothingIsToldBeforeTheStartAndAfterTheStop, ASecondStartTellsNothingTwice,
    DestroyingTheObjectEndsItsCallbacks, ACallbackMayDestroyItsObject);

} // namespace telvora
