#include <tests/Classes/SimulatedHost.h>

#include <Telvora/Classes/Model/TrackerDataLifeCycleTrace.h>

#include <initializer_list>

namespace telvora {
namespace {

using Kind = UIViewController::Kind;

// Counts how often it is asked for the screen that it presents.
class CountingScreen final : public UIViewController {
public:
    std::string className() const override { return "Counting"; }
    std::string sceneName() const override { return "App.Counting"; }
    std::shared_ptr<UIViewController> presentedViewController() const override
    {
        ++asked;
        return presented;
    }

    mutable int asked = 0;
    std::shared_ptr<UIViewController> presented;
};

// Delegates to itself, and counts how often it is asked for its delegate.
class SelfNamingScreen final : public UIViewController,
                               public TrackerDataLifeCycleControllerDelegate {
public:
    std::string className() const override { return "SelfNaming"; }
    std::string sceneName() const override { return "App.SelfNaming"; }
    ViewControllerInfo trackerViewControllerInfo() const override
    {
        ++asked;
        return { std::const_pointer_cast<UIViewController>(shared_from_this()) };
    }

    mutable int asked = 0;
};

// Presents a new screen of this class each time it is asked.
class EndlessScreen final : public UIViewController {
public:
    using Made = std::vector<std::shared_ptr<UIViewController>>;

    explicit EndlessScreen(Made& made)
        : m_made(made)
    {
    }
    std::string className() const override { return "Endless"; }
    std::string sceneName() const override { return "App.Endless"; }
    std::shared_ptr<UIViewController> presentedViewController() const override
    {
        return m_made.emplace_back(std::make_shared<EndlessScreen>(m_made));
    }

private:
    Made& m_made;
};

class RootWindow final : public UIWindow {
public:
    explicit RootWindow(std::shared_ptr<UIViewController> root)
        : m_root(std::move(root))
    {
    }
    std::shared_ptr<UIViewController> rootViewController() const override { return m_root; }

private:
    const std::shared_ptr<UIViewController> m_root;
};

class TopScreenWalkTest : public SimulatedHost {
protected:
    void make(std::initializer_list<const char*> ids)
    {
        for (const char* id : ids)
            screens.make(id);
        screens.setWindowRoot(*ids.begin());
    }

    // The class of the screen that the walk finds; absent when it finds none.
    std::optional<std::string> top()
    {
        const auto info = UIWindow::trackerTopViewControllerInfo();
        const auto screen = info ? info->vc.lock() : nullptr;
        return screen ? std::optional(screen->className()) : std::nullopt;
    }

    void delegate(const std::string& id, const std::optional<std::string>& to)
    {
        screens.setDelegates(id, true);
        screens.setDelegatesTo(id, to);
    }

    ScriptedScreenHierarchy& screens = simulated().screens();
};
using TopScreenWalkQuirk = TopScreenWalkTest;

TEST_F(TopScreenWalkTest, WithoutAWindowOrARootThereIsNoPage)
{
    EXPECT_EQ(top(), std::nullopt);
    screens.setWindowRoot(std::nullopt);
    EXPECT_EQ(top(), std::nullopt);
}

TEST_F(TopScreenWalkTest, APlainRootIsThePage)
{
    make({ "Home" });
    EXPECT_EQ(top(), "Home");
}

TEST_F(TopScreenWalkTest, ATabBarWithANavigationYieldsTheVisibleScreen)
{
    make({ "Tabs", "Navigation", "X" });
    screens.setKind("Tabs", Kind::tabBar);
    screens.setSelected("Tabs", "Navigation");
    screens.setKind("Navigation", Kind::navigation);
    screens.setVisible("Navigation", "X");

    EXPECT_EQ(top(), "X");
}

TEST_F(TopScreenWalkTest, APresentedScreenIsPreferredToAContainedOne)
{
    make({ "Tabs", "Selected", "Presented" });
    screens.setKind("Tabs", Kind::tabBar);
    screens.setSelected("Tabs", "Selected");
    screens.setPresents("Tabs", "Presented");

    EXPECT_EQ(top(), "Presented");
}

TEST_F(TopScreenWalkTest, AContainerFollowsOnlyTheLinkOfItsKind)
{
    make({ "Root", "Other" });
    screens.setVisible("Root", "Other");
    screens.setSelected("Root", "Other");
    EXPECT_EQ(top(), "Root");

    screens.setKind("Root", Kind::tabBar);
    screens.setSelected("Root", std::nullopt);
    EXPECT_EQ(top(), std::nullopt);

    screens.setKind("Root", Kind::navigation);
    EXPECT_EQ(top(), "Other");
}

TEST_F(TopScreenWalkTest, AnEmptyContainerYieldsNoPage)
{
    make({ "Root" });
    for (const Kind kind : { Kind::navigation, Kind::tabBar }) {
        screens.setKind("Root", kind);
        EXPECT_EQ(top(), std::nullopt);
    }
}

TEST_F(TopScreenWalkTest, AWhiteListedScreenIsThePageWhateverItPresentsOrContains)
{
    make({ "App.TradeViewController", "Presented", "Visible" });
    screens.setKind("App.TradeViewController", Kind::navigation);
    screens.setVisible("App.TradeViewController", "Visible");
    screens.setPresents("App.TradeViewController", "Presented");
    EXPECT_EQ(top(), "App.TradeViewController");

    manager().updateTracker({});
    EXPECT_EQ(top(), "Presented");
}

TEST_F(TopScreenWalkTest, AScreenWithALongerNameThanTheSuffixIsNotWhiteListed)
{
    make({ "App.MyTradeViewController", "Presented" });
    screens.setPresents("App.MyTradeViewController", "Presented");

    EXPECT_EQ(top(), "Presented");
}

TEST_F(TopScreenWalkTest, ADelegateThatNamesItselfIsThePage)
{
    make({ "Home" });
    delegate("Home", "Home");

    EXPECT_EQ(top(), "Home");
}

TEST_F(TopScreenWalkTest, ADelegateThatNamesItselfIsAskedOnce)
{
    const auto screen = std::make_shared<SelfNamingScreen>();

    const auto info = RootWindow(screen).topViewController_monitorTracker();

    EXPECT_EQ(info->vc.lock(), screen);
    EXPECT_EQ(screen->asked, 1);
}

TEST_F(TopScreenWalkTest, ADelegateThatNamesADestroyedScreenYieldsNoPage)
{
    make({ "Home", "Other" });
    delegate("Home", std::nullopt);
    EXPECT_EQ(top(), std::nullopt);

    delegate("Home", "Other");
    screens.release("Other");
    EXPECT_EQ(top(), std::nullopt);
}

TEST_F(TopScreenWalkTest, DelegationIsFollowedBeforeTheWhiteListAndThePresentedScreen)
{
    make({ "App.TradeViewController", "Child", "Presented" });
    screens.setPresents("App.TradeViewController", "Presented");
    delegate("App.TradeViewController", "Child");

    EXPECT_EQ(top(), "Child");
}

TEST_F(TopScreenWalkQuirk, ParametersOfADelegateAreIgnored)
{
    make({ "Home", "Child" });
    delegate("Home", "Child");
    screens.setDelegateParams("Home", { { "a", "1" } });

    EXPECT_EQ(top(), "Child");
    EXPECT_TRUE(UIWindow::trackerTopViewControllerInfo()->params.empty());
}

TEST_F(TopScreenWalkQuirk, TenDelegationsAreFollowed)
{
    make({ "c0", "c1", "c2", "c3", "c4", "c5", "c6", "c7", "c8", "c9", "c10", "c11" });
    for (int index = 0; index < 11; ++index)
        delegate("c" + std::to_string(index), "c" + std::to_string(index + 1));

    EXPECT_EQ(top(), "c10");
}

TEST_F(TopScreenWalkQuirk, DelegationsAreCountedAnewFromTheNextScreen)
{
    make({ "c0", "c1", "c2", "c3", "c4", "c5", "c6", "c7", "c8", "c9", "c10", "c11", "d0", "d1" });
    for (int index = 0; index < 11; ++index)
        delegate("c" + std::to_string(index), "c" + std::to_string(index + 1));
    screens.setPresents("c10", "d0");
    delegate("d0", "d1");

    EXPECT_EQ(top(), "d1");
}

TEST_F(TopScreenWalkTest, TwoDelegatesThatNameEachOtherEndAfterTenDelegations)
{
    make({ "a", "b" });
    delegate("a", "b");
    delegate("b", "a");
    EXPECT_EQ(top(), "a");

    screens.setWindowRoot("b");
    EXPECT_EQ(top(), "b");
}

TEST_F(TopScreenWalkQuirk, AScreenThatPresentsItselfIsThePage)
{
    make({ "Home" });
    screens.setPresents("Home", "Home");

    EXPECT_EQ(top(), "Home");
}

TEST_F(TopScreenWalkQuirk, ARingOfScreensYieldsTheFirstOneVisitedAgain)
{
    make({ "Root", "Navigation", "Tabs", "Presenting" });
    screens.setPresents("Root", "Navigation");
    screens.setKind("Navigation", Kind::navigation);
    screens.setVisible("Navigation", "Tabs");
    screens.setKind("Tabs", Kind::tabBar);
    screens.setSelected("Tabs", "Presenting");
    screens.setPresents("Presenting", "Navigation");

    EXPECT_EQ(top(), "Navigation");
}

TEST_F(TopScreenWalkTest, ARingThatADelegateClosesYieldsTheScreenItNames)
{
    make({ "Home", "Presented" });
    screens.setPresents("Home", "Presented");
    delegate("Presented", "Home");

    EXPECT_EQ(top(), "Home");
}

TEST_F(TopScreenWalkTest, EachScreenOfARingIsAskedOnce)
{
    const auto home = std::make_shared<CountingScreen>();
    home->presented = home;

    const auto info = RootWindow(home).topViewController_monitorTracker();

    EXPECT_EQ(info->vc.lock(), home);
    EXPECT_EQ(home->asked, 1);
    home->presented.reset();
}

TEST_F(TopScreenWalkTest, ScreensThatAreMembersOfOneObjectAreDistinct)
{
    const auto pair = std::make_shared<std::pair<CountingScreen, CountingScreen>>();
    const std::shared_ptr<UIViewController> home(pair, &pair->first);
    const std::shared_ptr<UIViewController> other(pair, &pair->second);
    pair->first.presented = other;

    const auto info = RootWindow(home).topViewController_monitorTracker();

    EXPECT_EQ(info->vc.lock(), other);
    pair->first.presented.reset();
}

TEST_F(TopScreenWalkTest, ScreensMadeAnewForEachCallEndTheWalkWithoutAPage)
{
    EndlessScreen::Made made;
    const auto endless = std::make_shared<EndlessScreen>(made);

    EXPECT_FALSE(RootWindow(endless).topViewController_monitorTracker());
}

TEST_F(TopScreenWalkTest, AWhiteListedScreenInARingIsThePage)
{
    make({ "Home", "App.TradeViewController" });
    screens.setPresents("Home", "App.TradeViewController");
    screens.setPresents("App.TradeViewController", "Home");

    EXPECT_EQ(top(), "App.TradeViewController");
}

TEST_F(TopScreenWalkTest, AWindowFindsItsOwnPage)
{
    make({ "Home" });

    EXPECT_EQ(simulated().screens().keyWindow()->topViewController_monitorTracker()->vc.lock(),
        screens.screen("Home"));
}

} // namespace
} // namespace telvora
