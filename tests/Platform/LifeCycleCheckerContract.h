#pragma once

#include <Telvora/Platform/LifeCycleChecker.h>

#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <string_view>

namespace telvora {

/// An adaptor that shows who made it and for which scene.
class NamedTrace final : public LifeCycleTrace {
public:
    explicit NamedTrace(std::string newName)
        : name(std::move(newName))
    {
    }

    void setScene(std::weak_ptr<UIViewController>) override { }
    const LifeCycleResolveRules& occasionRule() const override { return m_rules; }
    std::optional<LifeCycleTraceOccasion> selectorResolve(std::string_view sel) const override
    {
        return lifeCycleTraceOccasion(sel);
    }
    void activeActionHandler(LifeCycleTraceOccasion, LifeCycleTraceState) override { }

    const std::string name;

private:
    LifeCycleResolveRules m_rules { { { 0, 2 }, "end" } };
};

/// What every LifeCycleChecker promises. `Subject` is made without arguments and has
/// `LifeCycleChecker& checker()` and
/// `std::unique_ptr<LifeCycleTrace> create(const std::string& sceneName)`, which makes the adaptor
/// of a scene as the framework does.
template<typename Subject> class LifeCycleCheckerContract : public testing::Test {
protected:
    void registerFactory(const std::string& name)
    {
        subject.checker().registerAdaptor([name](const std::string& sceneName) {
            return std::make_unique<NamedTrace>(name + ":" + sceneName);
        });
    }

    std::string create(const std::string& sceneName)
    {
        const auto adaptor = subject.create(sceneName);
        return adaptor ? dynamic_cast<NamedTrace&>(*adaptor).name : "(none)";
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
