#include <tests/Platform/Qt/QtHost.h>

#include <QtWidgets/QApplication>
#include <QtWidgets/QDialog>
#include <QtWidgets/QMainWindow>
#include <QtWidgets/QStackedWidget>
#include <QtWidgets/QTabWidget>

#include <gmock/gmock.h>

namespace telvora {
namespace {

using testing::ElementsAre;

class WidgetPagesTest : public QtHost<QApplication> {
protected:
    WidgetPagesTest() { EXPECT_TRUE(installQtIntegration(app())); }

    static QWidget* page(const char* scene)
    {
        auto* widget = new QWidget;
        widget->setProperty("telvoraScene", scene);
        return widget;
    }

    // A window with a stack of pages.
    struct Window : QMainWindow {
        Window()
        {
            setCentralWidget(stack);
            setProperty("telvoraScene", "Main");
        }

        QStackedWidget* stack = new QStackedWidget;
    };
};

TEST_F(WidgetPagesTest, AWindowWithoutPagesIsThePageItself)
{
    Window window;
    window.show();

    EXPECT_THAT(pages(), ElementsAre("Main"));
    EXPECT_EQ(topPage(), "Main");
}

TEST_F(WidgetPagesTest, ThePageOfAStackIsReportedEachTimeItComes)
{
    Window window;
    window.stack->addWidget(page("Markets"));
    window.stack->addWidget(page("Trade"));
    window.show();
    work();
    window.stack->setCurrentIndex(1);
    work();
    window.stack->setCurrentIndex(0);

    EXPECT_THAT(pages(), ElementsAre("Markets", "Trade", "Markets"));
}

TEST_F(WidgetPagesTest, TheInnermostPageIsOnTop)
{
    Window window;
    auto* tabs = new QTabWidget;
    auto* inner = new QStackedWidget;
    tabs->addTab(inner, "one");
    tabs->addTab(page("Second"), "two");
    inner->addWidget(page("Inner"));
    inner->addWidget(page("Deeper"));
    window.stack->addWidget(tabs);
    window.show();
    work();
    inner->setCurrentIndex(1);
    work();
    tabs->setCurrentIndex(1);

    EXPECT_THAT(pages(), ElementsAre("Inner", "Deeper", "Second"));
}

TEST_F(WidgetPagesTest, ADialogIsInFrontUntilItCloses)
{
    Window window;
    window.stack->addWidget(page("Markets"));
    window.show();
    work();
    {
        QDialog dialog(&window);
        dialog.setProperty("telvoraScene", "Confirm");
        dialog.show();
        work();
        EXPECT_EQ(topPage(), "Confirm");
        dialog.close();
        work();
    }

    EXPECT_THAT(pages(), ElementsAre("Markets", "Confirm", "Markets"));
}

TEST_F(WidgetPagesTest, APageThatIsDeletedWhileOnTopGivesWay)
{
    Window window;
    window.stack->addWidget(page("Markets"));
    window.stack->addWidget(page("Trade"));
    window.stack->setCurrentIndex(1);
    window.show();
    work();
    delete window.stack->currentWidget();

    EXPECT_THAT(pages(), ElementsAre("Trade", "Markets"));
}

TEST_F(WidgetPagesTest, MinimisedItLeavesAndRestoredItComesAgain)
{
    Window window;
    window.stack->addWidget(page("Markets"));
    window.show();
    work();
    window.showMinimized();
    work();
    window.showNormal();

    EXPECT_THAT(pages(), ElementsAre("Markets", "Markets"));
}

TEST_F(WidgetPagesTest, OfTwoWindowsTheOneInFrontHasThePage)
{
    Window first;
    first.stack->addWidget(page("First"));
    first.show();
    work();
    auto second = std::make_unique<Window>();
    second->stack->addWidget(page("Second"));
    second->show();
    work();
    EXPECT_EQ(topPage(), "Second");
    second.reset();

    EXPECT_THAT(pages(), ElementsAre("First", "Second", "First"));
}

TEST_F(WidgetPagesTest, WhatOptsOutLeavesTheLastPage)
{
    Window window;
    QWidget* hidden = page("Hidden");
    hidden->setProperty("telvoraPages", false);
    window.stack->addWidget(page("Markets"));
    window.stack->addWidget(hidden);
    window.show();
    work();
    window.stack->setCurrentIndex(1);

    EXPECT_THAT(pages(), ElementsAre("Markets"));
    EXPECT_EQ(topPage(), "Markets");
}

TEST_F(WidgetPagesTest, AContainerMayNameAnotherPage)
{
    Window window;
    QWidget* container = page("Container");
    auto* other = new QWidget(container);
    other->setProperty("telvoraScene", "Other");
    container->setProperty("telvoraDelegate", QVariant::fromValue<QObject*>(other));
    window.stack->addWidget(container);
    window.show();

    EXPECT_THAT(pages(), ElementsAre("Other"));
}

TEST_F(WidgetPagesTest, ParametersGoIntoReports)
{
    Window window;
    QWidget* markets = page("Markets");
    markets->setProperty(
        "telvoraParams", QVariantMap { { "pair", "BTC" }, { "bad", QVariantList() } });
    window.stack->addWidget(markets);
    window.show();
    work();
    TrackerManager::shared().enrollPageViewTrack("again");

    const auto views = reports("PAGE-VIEW");
    ASSERT_EQ(views.size(), 2u);
    EXPECT_EQ(views[1].at("pageExpend"), (Value { { "pair", "BTC" } }));
}

// Keeps the lines of the log.
class Lines : public LogService {
public:
    void loggerInit() override { }
    void log(unsigned, const std::string& message) override { text += message + '\n'; }

    std::string text;
};

TEST_F(WidgetPagesTest, PropertiesOfAnotherTypeAreIgnoredWithALineEach)
{
    const auto lines = std::make_shared<Lines>();
    QuorvexLog::setLogService(lines);
    QuorvexLog::configLogger();
    Window window;
    auto* markets = new QWidget;
    markets->setObjectName("Markets");
    markets->setProperty("telvoraScene", 7);
    markets->setProperty("telvoraParams", 7);
    markets->setProperty("telvoraPages", "no");
    markets->setProperty("telvoraDelegate", "Trade");
    window.stack->addWidget(markets);
    window.show();

    EXPECT_THAT(pages(), ElementsAre("Markets"));
    window.hide();
    work();
    window.show();
    EXPECT_THAT(pages(), ElementsAre("Markets", "Markets"));
    for (const char* name :
        { "telvoraScene", "telvoraParams", "telvoraPages", "telvoraDelegate" }) {
        const std::size_t first = lines->text.find(name);
        ASSERT_NE(first, std::string::npos) << name;
        EXPECT_EQ(lines->text.find(name, first + 1), std::string::npos) << name;
    }
}

TEST_F(WidgetPagesTest, AThousandFastChangesNameOnlyPagesThatWereThere)
{
    Window window;
    for (const char* name : { "A", "B", "C" })
        window.stack->addWidget(page(name));
    window.show();
    work();
    for (int change = 0; change < 1000; ++change) {
        window.stack->setCurrentIndex(change % 3);
        if (change % 7 == 0)
            QCoreApplication::processEvents();
    }

    const auto names = pages();
    EXPECT_EQ(names.back(), "A");
    EXPECT_GT(names.size(), 100u);
}

TEST_F(WidgetPagesTest, AHundredNestedStacksHaveOnePage)
{
    Window window;
    QStackedWidget* outer = window.stack;
    for (int depth = 0; depth < 100; ++depth) {
        auto* inner = new QStackedWidget;
        outer->addWidget(inner);
        outer = inner;
    }
    outer->addWidget(page("Deepest"));
    window.show();

    EXPECT_THAT(pages(), ElementsAre("Deepest"));
}

TEST_F(WidgetPagesTest, ASecondInstallationIsRefused)
{
    EXPECT_FALSE(installQtIntegration(app()));
}

TEST_F(WidgetPagesTest, LaunchAndFirstFrameAreReportedOnce)
{
    Window window;
    window.stack->addWidget(page("Markets"));
    window.show();
    workUntil([&] { return !reports("FIRST-FRAME").empty(); });
    window.update();
    work();

    const auto launches = reports("START");
    ASSERT_EQ(launches.size(), 1u);
    EXPECT_GT(launches[0].at("fp").as_double(), 0);
    EXPECT_GE(launches[0].at("ct").as_double() + 10, launches[0].at("fp").as_double());
    EXPECT_EQ(reports("FIRST-FRAME").size(), 1u);
    EXPECT_EQ(reports("FIRST-FRAME")[0].at("p"), "Markets");
}

} // namespace
} // namespace telvora
