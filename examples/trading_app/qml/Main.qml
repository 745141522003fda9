import QtQuick
import QtQuick.Controls
import QtQuick.Layouts
import Trading

ApplicationWindow {
    id: window

    property string page: "Markets"

    function show(name) {
        if (name === page)
            return
        page = name
        stack.replace(pages[name])
    }

    readonly property var pages: ({
        "Markets": marketsPage, "OrderBook": orderBookPage, "Trade": tradePage, "Settings": settingsPage
    })

    visible: true
    width: 1240
    height: 790
    minimumWidth: 1100
    minimumHeight: 760
    title: "Trading"
    color: Theme.ground

    Component {
        id: marketsPage

        MarketsPage {
            onOpened: pair => {
                ChosenPair.name = pair
                window.show("OrderBook")
            }
        }
    }
    Component {
        id: orderBookPage

        OrderBookPage {
            onTradeWanted: window.show("Trade")
        }
    }
    Component {
        id: tradePage

        TradePage {}
    }
    Component {
        id: settingsPage

        SettingsPage {}
    }

    Rectangle {
        id: sideBar

        anchors { left: parent.left; top: parent.top; bottom: parent.bottom }
        width: 208
        color: Theme.side

        Rectangle {
            anchors { right: parent.right; top: parent.top; bottom: parent.bottom }
            width: 1
            color: Theme.line
        }
        ColumnLayout {
            anchors { fill: parent; margins: 16; topMargin: 26; bottomMargin: 20 }
            spacing: 6

            RowLayout {
                spacing: 10
                Layout.leftMargin: 14
                Layout.bottomMargin: 26

                PageIcon {
                    color: Theme.accent
                    bars: [[0, 10, 4, 10], [8, 4, 4, 16], [16, 0, 4, 20]]
                }
                Text {
                    text: "Trading"
                    color: Theme.text
                    font { pixelSize: 18; weight: Font.DemiBold }
                }
            }
            Repeater {
                model: [
                    { name: "Markets", text: "Markets", bars: [[2, 11, 3, 7], [8.5, 6, 3, 12], [15, 2, 3, 16]] },
                    { name: "OrderBook", text: "Order book", bars: [[2, 3, 16, 3], [2, 8.5, 11, 3], [2, 14, 6, 3]] },
                    { name: "Trade", text: "Trade", bars: [[4.5, 2, 2, 16], [2, 5, 7, 9], [14, 4, 2, 13], [11.5, 8, 7, 6]] },
                    { name: "Settings", text: "Settings", bars: [[2, 4, 16, 2], [5, 1.5, 4, 7], [2, 14, 16, 2], [11, 11.5, 4, 7]] }]

                SideBarButton {
                    required property var modelData

                    objectName: "nav" + modelData.name
                    text: modelData.text
                    bars: modelData.bars
                    isCurrent: window.page === modelData.name
                    onClicked: window.show(modelData.name)
                }
            }
            Item {
                Layout.fillHeight: true
            }
            Rectangle {
                implicitHeight: 74
                radius: 10
                color: Theme.card
                border.color: Theme.line
                Layout.fillWidth: true

                Column {
                    anchors { left: parent.left; leftMargin: 16; verticalCenter: parent.verticalCenter }
                    spacing: 6

                    Text {
                        text: "Balance"
                        color: Theme.muted
                        font.pixelSize: 12
                    }
                    Text {
                        text: Theme.dollars(Desk.cash)
                        color: Theme.text
                        font { pixelSize: 17; weight: Font.DemiBold }
                    }
                }
            }
        }
    }
    StackView {
        id: stack

        anchors {
            left: sideBar.right; right: parent.right; top: parent.top; bottom: parent.bottom
            margins: 26
        }
        initialItem: marketsPage
        replaceEnter: Transition {
            NumberAnimation { property: "opacity"; from: 0; to: 1; duration: 140 }
        }
        replaceExit: Transition {
            NumberAnimation { property: "opacity"; from: 1; to: 0; duration: 90 }
        }
    }
    Rectangle {
        id: toast

        anchors { right: parent.right; bottom: parent.bottom; margins: 44 }
        width: toastText.implicitWidth + 36
        height: 44
        radius: 10
        color: Theme.raised
        border.color: Theme.line
        opacity: 0
        visible: opacity > 0

        Behavior on opacity {
            NumberAnimation { duration: 160 }
        }
        Text {
            id: toastText

            anchors.centerIn: parent
            color: Theme.text
            font.pixelSize: 13
        }
        Timer {
            id: toastTime

            interval: 2500
            onTriggered: toast.opacity = 0
        }
        Connections {
            target: Desk

            function onSaid(text) {
                toastText.text = text
                toast.opacity = 1
                toastTime.restart()
            }
        }
    }
}
