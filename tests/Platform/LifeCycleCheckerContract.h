#pragma once

#include <Telvora/Platform/LifeCycleChecker.h>
#include <tests/Platform/PlainTrace.h>

#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <string_view>

namespace telvora {

/// What every LifeCycleChecker promises. `Subject` is made without arguments and has
/// `LifeCycleChecker& checker()` and
/// `std::unique_ptr<LifeCycleTrace> create(const std::string& sceneName)`, which makes the adaptor
/// of a scene as the framework does.
template<typename Subject> class LifeCycleCheckerContract : public testing::Test {
protected:
    void registerFactory(const std::string& name)
    {
        subject.checker().registerAdaptor([name](const std::string& sceneName) {
            return std::make_unique<PlainTrace>(name + ":" + sceneName);
        });
    }

    std::string create(const std::string& sceneName)
    {
        const auto adaptor = subject.create(sceneName);
        return adaptor ? adaptor->sceneName() : "(none)";
    }

    Subject subject;
};

TYPED_TEST_SUITE_P(LifeCycleCheckerContract);

TYPED_TEST_P(LifeCycleCheckerContract, NoSceneHasAnAdaptorBeforeARegistration)
{
    EXPECT_EQ(this->create("Host.Page"), "(none)");
}

TYPED_TEST_P(LifeCycleCheckerContract, EverySceneHasAnAdaptorOfItsOwn)
{
    this->registerFactory("a");

    EXPECT_EQ(this->create("Host.Page"), "a:Host.Page");
    EXPECT_EQ(this->create("Host.Other"), "a:Host.Other");
}

TYPED_TEST_P(LifeCycleCheckerContract, TheNewestRegistrationCounts)
{
    this->registerFactory("a");
    this->registerFactory("b");

    EXPECT_EQ(this->create("Host.Page"), "b:Host.Page");
}

TYPED_TEST_P(LifeCycleCheckerContract, AFactoryMayRefuseAScene)
{
    this->subject.checker().registerAdaptor([](const std::string&) { return nullptr; });

    EXPECT_EQ(this->create("Host.Page"), "(none)");
}

REGISTER_TYPED_TEST_SUITE_P(LifeCycleCheckerContract, NoSceneHasAnAdaptorBeforeARegistration,
    EverySceneHasAnAdaptorOfItsOwn, TheNewestRegistrationCounts, AFactoryMayRefuseAScene);

} // namespace telvora
