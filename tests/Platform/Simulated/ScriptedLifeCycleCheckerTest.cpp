#include <Telvora/Platform/Simulated/ScriptedLifeCycleChecker.h>

#include <tests/Platform/PlainTrace.h>

#include <gtest/gtest.h>

#include <memory>
#include <string>

namespace telvora {
namespace {

/// Writes down what the framework does with it.
class NotingTrace final : public PlainTrace {
public:
    explicit NotingTrace(std::string& notes)
        : m_notes(notes)
    {
    }

    void setScene(std::weak_ptr<UIViewController> scene) override
    {
        m_notes += scene.lock() ? "scene " : "no-scene ";
    }
    void activeActionHandler(LifeCycleTraceOccasion occasion, LifeCycleTraceState state) override
    {
        m_notes += std::string(rawValue(occasion))
            + (state == LifeCycleTraceState::after ? " after " : " other ");
    }

private:
    std::string& m_notes;
};

TEST(ScriptedLifeCycleCheckerTest, PlaysAMomentOnAFreshAdaptorOfTheScene)
{
    ScriptedLifeCycleChecker checker;
    std::string notes;
    checker.registerAdaptor([&](const std::string& sceneName) {
        notes += sceneName + " ";
        return std::make_unique<NotingTrace>(notes);
    });

    EXPECT_TRUE(checker.play(
        "Host.Page", {}, LifeCycleTraceOccasion::viewDidAppear, LifeCycleTraceState::after));

    EXPECT_EQ(notes, "Host.Page no-scene viewDidAppear after ");
}

TEST(ScriptedLifeCycleCheckerTest, HasNothingToPlayOnBeforeARegistration)
{
    ScriptedLifeCycleChecker checker;

    EXPECT_EQ(checker.create("Host.Page"), nullptr);
    EXPECT_FALSE(checker.play(
        "Host.Page", {}, LifeCycleTraceOccasion::loadView, LifeCycleTraceState::before));
}

TEST(ScriptedLifeCycleCheckerTest, CountsAndTellsOfRegistrations)
{
    ScriptedLifeCycleChecker checker;
    std::string asked;
    checker.setQuestionObserver([&](const std::string& question) { asked += question; });

    checker.registerAdaptor([](const std::string&) { return nullptr; });

    EXPECT_EQ(asked, "registerAdaptor");
    EXPECT_EQ(checker.registrationCount(), 1U);
}

} // namespace
} // namespace telvora
