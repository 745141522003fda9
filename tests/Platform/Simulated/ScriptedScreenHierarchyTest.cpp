#include <Telvora/Platform/Simulated/ScriptedScreenHierarchy.h>

#include <gtest/gtest.h>

#include <memory>
#include <optional>
#include <string>

namespace telvora {
namespace {

class ScriptedScreenHierarchyTest : public testing::Test {
protected:
    ScriptedScreenHierarchyTest()
    {
        for (const char* id : { "a", "b", "c" })
            screens.make(id);
    }

    ViewControllerInfo standIn(const std::string& id)
    {
        const auto screen = screens.screen(id);
        return dynamic_cast<TrackerDataLifeCycleControllerDelegate&>(*screen)
            .trackerViewControllerInfo();
    }

    ScriptedScreenHierarchy screens;
};

using ScriptedScreenHierarchyQuirk = ScriptedScreenHierarchyTest;

TEST_F(ScriptedScreenHierarchyTest, AScreenIsPlainAndNamedAsItsIDAtTheStart)
{
    const auto a = screens.screen("a");

    EXPECT_EQ(a->className(), "a");
    EXPECT_EQ(a->sceneName(), "a");
    EXPECT_EQ(a->kind(), UIViewController::Kind::plain);
    EXPECT_EQ(a->presentedViewController(), nullptr);
    EXPECT_EQ(a->visibleViewController(), nullptr);
    EXPECT_EQ(a->selectedViewController(), nullptr);
}

TEST_F(ScriptedScreenHierarchyTest, TheSceneIsNamedAsTheClassUntilItHasAName)
{
    screens.setClassName("a", "TradeViewController");
    EXPECT_EQ(screens.screen("a")->sceneName(), "TradeViewController");

    screens.setSceneName("a", "Host.TradeViewController");
    screens.setClassName("a", "Other");
    EXPECT_EQ(screens.screen("a")->sceneName(), "Host.TradeViewController");
    EXPECT_EQ(screens.screen("a")->className(), "Other");
}

TEST_F(ScriptedScreenHierarchyTest, LinksLeadToTheirScreens)
{
    screens.setKind("a", UIViewController::Kind::tabBar);
    screens.setSelected("a", "b");
    screens.setVisible("b", "c");
    screens.setPresents("c", "a");

    EXPECT_EQ(screens.screen("a")->kind(), UIViewController::Kind::tabBar);
    EXPECT_EQ(screens.screen("a")->selectedViewController(), screens.screen("b"));
    EXPECT_EQ(screens.screen("b")->visibleViewController(), screens.screen("c"));
    EXPECT_EQ(screens.screen("c")->presentedViewController(), screens.screen("a"));

    screens.setPresents("c", std::nullopt);
    EXPECT_EQ(screens.screen("c")->presentedViewController(), nullptr);
}

TEST_F(ScriptedScreenHierarchyTest, NamingAScreenThatIsNotThereChangesNothing)
{
    screens.setPresents("a", "b");

    EXPECT_FALSE(screens.setPresents("a", "missing"));
    EXPECT_FALSE(screens.setClassName("missing", "Name"));
    EXPECT_FALSE(screens.setWindowRoot("missing"));
    EXPECT_FALSE(screens.release("missing"));
    EXPECT_FALSE(screens.make("a"));

    EXPECT_EQ(screens.screen("a")->presentedViewController(), screens.screen("b"));
    EXPECT_EQ(screens.screen("missing"), nullptr);
    EXPECT_EQ(screens.keyWindow(), nullptr);
}

TEST_F(ScriptedScreenHierarchyTest, ReleaseEmptiesEveryLinkAndWeakReference)
{
    screens.setVisible("a", "c");
    screens.setSelected("a", "c");
    screens.setPresents("b", "c");
    screens.setDelegates("b", true);
    screens.setDelegatesTo("b", "c");
    screens.setWindowRoot("c");
    const std::weak_ptr<UIViewController> weak = screens.screen("c");

    EXPECT_TRUE(screens.release("c"));

    EXPECT_TRUE(weak.expired());
    EXPECT_EQ(screens.screen("a")->visibleViewController(), nullptr);
    EXPECT_EQ(screens.screen("a")->selectedViewController(), nullptr);
    EXPECT_EQ(screens.screen("b")->presentedViewController(), nullptr);
    EXPECT_TRUE(standIn("b").vc.expired());
    EXPECT_EQ(screens.keyWindow()->rootViewController(), nullptr);
    EXPECT_FALSE(screens.contains("c"));
}

TEST_F(ScriptedScreenHierarchyTest, LinksToAReleasedScreenAreNullEvenWhileSomebodyUsesIt)
{
    screens.setPresents("a", "b");
    const auto inUse = screens.screen("b");

    screens.release("b");

    EXPECT_EQ(screens.screen("a")->presentedViewController(), nullptr);
}

TEST_F(ScriptedScreenHierarchyTest, AReleasedIDNamesANewScreenWhenMadeAgain)
{
    screens.setPresents("a", "b");
    screens.release("b");

    EXPECT_TRUE(screens.make("b"));

    EXPECT_EQ(screens.screen("a")->presentedViewController(), nullptr);
}

TEST_F(ScriptedScreenHierarchyTest, RingsOfScreensAreFreed)
{
    screens.setPresents("a", "b");
    screens.setPresents("b", "a");
    screens.setPresents("c", "c");
    const std::weak_ptr<UIViewController> a = screens.screen("a");
    const std::weak_ptr<UIViewController> c = screens.screen("c");

    screens.release("a");
    screens.release("c");

    EXPECT_TRUE(a.expired());
    EXPECT_TRUE(c.expired());
    EXPECT_EQ(screens.screen("b")->presentedViewController(), nullptr);
}

TEST_F(ScriptedScreenHierarchyQuirk, AScreenThatDoesNotDelegateStandsForItself)
{
    screens.setDelegatesTo("a", "b");
    EXPECT_EQ(standIn("a").vc.lock(), screens.screen("a"));

    screens.setDelegates("a", true);
    EXPECT_EQ(standIn("a").vc.lock(), screens.screen("b"));

    screens.setDelegates("a", false);
    EXPECT_EQ(standIn("a").vc.lock(), screens.screen("a"));
}

TEST_F(
    ScriptedScreenHierarchyTest, AScreenDelegatesToAnotherWithParametersToItselfOrToOneThatIsGone)
{
    screens.setDelegates("a", true);
    EXPECT_EQ(standIn("a").vc.lock(), nullptr);

    screens.setDelegatesTo("a", "a");
    EXPECT_EQ(standIn("a").vc.lock(), screens.screen("a"));

    screens.setDelegatesTo("a", "b");
    screens.setDelegateParams("a", { { "symbol", "BTC" } });
    EXPECT_EQ(standIn("a").vc.lock(), screens.screen("b"));
    EXPECT_EQ(standIn("a").params, (StringDictionary { { "symbol", "BTC" } }));
}

TEST_F(ScriptedScreenHierarchyTest, TheKeyWindowComesAndGoes)
{
    int questions = 0;
    screens.setQuestionObserver([&](const std::string& question) {
        EXPECT_EQ(question, "keyWindow");
        ++questions;
    });
    EXPECT_EQ(screens.keyWindow(), nullptr);

    screens.setWindowRoot("a");
    EXPECT_EQ(screens.keyWindow()->rootViewController(), screens.screen("a"));

    screens.setWindowRoot(std::nullopt);
    ASSERT_NE(screens.keyWindow(), nullptr);
    EXPECT_EQ(screens.keyWindow()->rootViewController(), nullptr);

    screens.removeWindow();
    EXPECT_EQ(screens.keyWindow(), nullptr);
    EXPECT_EQ(questions, 5);
}

} // namespace
} // namespace telvora
