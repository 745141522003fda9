#include <tests/Platform/Qt/QtHost.h>

#include <QtCore/QTimer>
#include <QtQml/QQmlComponent>
#include <QtQml/QQmlEngine>
#include <QtQuick/QQuickItem>
#include <QtQuick/QQuickWindow>

#include <gmock/gmock.h>

#include <chrono>
#include <thread>

namespace telvora {
namespace {

using namespace std::chrono_literals;
using testing::ElementsAre;

class QuickPagesTest : public QtHost<QGuiApplication> {
protected:
    QuickPagesTest() { EXPECT_TRUE(installQtIntegration(app())); }

    // Shows a window with this inside.
    void show(const QByteArray& content)
    {
        QQmlComponent component(&m_engine);
        component.setData("import QtQuick\nimport QtQuick.Controls\nimport QtQuick.Layouts\n"
                          "ApplicationWindow { visible: true; width: 200; height: 200\n"
                          "property string telvoraScene: 'Main'\n"
                          "component P: Item { property string telvoraScene: '' }\n"
                + content + "\n}",
            QUrl("qrc:/Test.qml"));
        m_window.reset(component.create());
        ASSERT_TRUE(m_window) << component.errorString().toStdString();
        workFrames();
    }

    // Calls a function of the window's.
    void call(const char* function)
    {
        ASSERT_TRUE(QMetaObject::invokeMethod(m_window.get(), function));
        workFrames();
    }

    void workFrames()
    {
        for (int round = 0; round < 10; ++round) {
            work();
            std::this_thread::sleep_for(5ms);
        }
    }

    QQuickWindow* window() { return qobject_cast<QQuickWindow*>(m_window.get()); }

private:
    QQmlEngine m_engine;
    std::unique_ptr<QObject> m_window;
};

TEST_F(QuickPagesTest, AWindowWithoutPagesIsThePageItself)
{
    show("");
    EXPECT_THAT(pages(), ElementsAre("Main"));
}

TEST_F(QuickPagesTest, PagesOfAStackViewComeAndGo)
{
    show(R"(
        StackView { id: stack; anchors.fill: parent; initialItem: markets }
        Component { id: markets; P { telvoraScene: 'Markets' } }
        Component { id: trade; P { telvoraScene: 'Trade' } }
        Component { id: book; P { telvoraScene: 'Book' } }
        function push() { stack.push(trade, StackView.Immediate) }
        function replace() { stack.replace(book, StackView.Immediate) }
        function pop() { stack.pop(StackView.Immediate) }
    )");
    call("push");
    call("replace");
    call("pop");

    EXPECT_THAT(pages(), ElementsAre("Markets", "Trade", "Book", "Markets"));
}

TEST_F(QuickPagesTest, TabsAreSwipedAndLaidOut)
{
    show(R"(
        property alias tab: swipe.currentIndex
        SwipeView { id: swipe; anchors.fill: parent
            P { telvoraScene: 'One' }
            P { telvoraScene: 'Two'
                StackLayout { id: layout; anchors.fill: parent
                    P { telvoraScene: 'Inner' }
                    P { telvoraScene: 'Other' } } }
        }
        function second() { tab = 1 }
        function other() { layout.currentIndex = 1 }
    )");
    call("second");
    call("other");

    EXPECT_THAT(pages(), ElementsAre("One", "Inner", "Other"));
}

TEST_F(QuickPagesTest, DialogsArePresentedAndMenusAreNot)
{
    show(R"(
        StackView { anchors.fill: parent; initialItem: P { telvoraScene: 'Markets' } }
        Dialog { id: dialog; property string telvoraScene: 'Confirm'; modal: true; standardButtons: Dialog.Ok }
        Menu { id: menu; MenuItem { text: 'x' } }
        function openDialog() { dialog.open() }
        function closeDialog() { dialog.close() }
        function openMenu() { menu.open() }
    )");
    call("openDialog");
    workUntil([] { return topPage() == "Confirm"; });
    call("closeDialog");
    workUntil([] { return topPage() == "Markets"; });
    call("openMenu");

    EXPECT_THAT(pages(), ElementsAre("Markets", "Confirm", "Markets"));
}

TEST_F(QuickPagesTest, ParametersOfAnItemGoIntoReports)
{
    show("StackView { anchors.fill: parent\n"
         "initialItem: P { telvoraScene: 'Trade'; property var telvoraParams: ({ pair: 'BTC' }) } "
         "}");
    TrackerManager::shared().enrollPageViewTrack("again");

    const auto views = reports("PAGE-VIEW");
    ASSERT_EQ(views.size(), 2u);
    EXPECT_EQ(views[1].at("pageExpend"), (Value { { "pair", "BTC" } }));
}

TEST_F(QuickPagesTest, APageIsNamedByItsComponent)
{
    show(R"(
        component MarketsPage: Page { property int unused: 0 }
        StackView { anchors.fill: parent; initialItem: MarketsPage {} }
    )");
    EXPECT_THAT(pages(), ElementsAre("MarketsPage"));
}

TEST_F(QuickPagesTest, AnIdleWindowReportsNoFrames)
{
    show("");
    std::this_thread::sleep_for(300ms);
    workFrames();

    EXPECT_EQ(reports("FIRST-FRAME").size(), 1u);
    EXPECT_EQ(reports("FROZEN-FRAME").size(), 0u);
    EXPECT_EQ(reports("START").size(), 1u);
}

TEST_F(QuickPagesTest, AStallOfTheGUIThreadIsOneFrozenFrame)
{
    show("NumberAnimation on x { from: 0; to: 100; duration: 1000; loops: Animation.Infinite }\n"
         "Rectangle { width: 10; height: 10; NumberAnimation on x { from: 0; to: 100; duration: "
         "500; loops: Animation.Infinite } }\n"
         "function stall() { const begin = Date.now(); while (Date.now() - begin < 800) {} }");
    call("stall");
    workFrames();

    const auto frozen = reports("FROZEN-FRAME");
    ASSERT_EQ(frozen.size(), 1u);
    EXPECT_EQ(frozen[0].at("p"), "Main");
    EXPECT_GE(frozen[0].at("at").as_double(), 800);
    EXPECT_GE(frozen[0].at("ct").as_double(), frozen[0].at("at").as_double() - 50);
}

// As an application runs: its loop waits between the work and the frame that shows it.
TEST_F(QuickPagesTest, AStallBeforeAFrameThatQtDelaysIsOneFrozenFrame)
{
    show("property int number: 0\nText { text: number }\n"
         "function stall() { const begin = Date.now(); while (Date.now() - begin < 800) {} "
         "++number }");
    QTimer::singleShot(100ms, window(), [&] { QMetaObject::invokeMethod(window(), "stall"); });
    QTimer::singleShot(1500ms, &app(), &QGuiApplication::quit);
    QGuiApplication::exec();

    const auto frozen = reports("FROZEN-FRAME");
    ASSERT_EQ(frozen.size(), 1u);
    EXPECT_GE(frozen[0].at("at").as_double(), 800);
}

TEST_F(QuickPagesTest, TheTimeOfAFirstFrameBeginsWithTheUsersEvent)
{
    show(R"(
        StackView { id: stack; anchors.fill: parent; initialItem: P { telvoraScene: 'Markets' } }
        Component { id: trade; P { telvoraScene: 'Trade' } }
        function push() {
            stack.push(trade, StackView.Immediate)
            const begin = Date.now(); while (Date.now() - begin < 200) {}
        }
    )");
    QTimer::singleShot(100ms, window(), [&] { QMetaObject::invokeMethod(window(), "push"); });
    QTimer::singleShot(900ms, &app(), &QGuiApplication::quit);
    QGuiApplication::exec();

    const auto first = reports("FIRST-FRAME");
    ASSERT_EQ(first.size(), 2u);
    EXPECT_GE(first[1].at("f").as_double(), 200);
}

} // namespace
} // namespace telvora
