import QtQuick
import QtQuick.Controls
import QtQuick.Layouts
import Trading

Page {
    id: page

    property string telvoraScene: "Settings"
    property var channels: Desk.channels()
    readonly property var paces: [800, 400, 150]

    background: null

    Timer {
        interval: 1000
        repeat: true
        running: true
        onTriggered: page.channels = Desk.channels()
    }

    ColumnLayout {
        anchors.fill: parent
        spacing: 18

        Text {
            text: "Settings"
            color: Theme.text
            font { pixelSize: 24; weight: Font.DemiBold }
        }
        RowLayout {
            spacing: 16
            Layout.fillWidth: true

            Card {
                title: "Trading"
                Layout.fillWidth: true
                Layout.preferredWidth: 10
                Layout.preferredHeight: 262

                ColumnLayout {
                    anchors { left: parent.left; right: parent.right; top: parent.top }
                    spacing: 12

                    Setting {
                        title: "Confirm orders"
                        note: "Asks before an order goes out"
                        switchName: "confirmOrders"
                        isOn: Theme.asksBeforeOrders
                        onSwitched: isOn => {
                            Theme.asksBeforeOrders = isOn
                            Desk.noteSetting("confirmOrders", isOn)
                        }
                    }
                    Setting {
                        title: "Flash prices"
                        note: "A price that moves lights up for a moment"
                        switchName: "flashPrices"
                        isOn: Theme.flashesPrices
                        onSwitched: isOn => {
                            Theme.flashesPrices = isOn
                            Desk.noteSetting("flashPrices", isOn)
                        }
                    }
                    Setting {
                        title: "Pace of the market"
                        note: "How often prices move"

                        Choice {
                            options: ["Slow", "Normal", "Fast"]
                            implicitWidth: 220
                            current: page.paces.indexOf(Market.pace)
                            onChosen: index => {
                                Market.pace = page.paces[index]
                                Desk.noteSetting("pace", options[index])
                            }
                        }
                    }
                }
            }
            Card {
                title: "Telemetry"
                note: Desk.collector
                Layout.fillWidth: true
                Layout.preferredWidth: 10
                Layout.preferredHeight: 262

                ColumnLayout {
                    anchors { left: parent.left; right: parent.right; top: parent.top }
                    spacing: 0

                    RowLayout {
                        Layout.fillWidth: true
                        Layout.bottomMargin: 6

                        Repeater {
                            model: ["Channel", "Events", "Delivered", "Waiting", "Dropped"]

                            Text {
                                required property int index
                                required property string modelData

                                text: modelData
                                color: Theme.faint
                                font.pixelSize: 12
                                horizontalAlignment: index === 0 ? Text.AlignLeft : Text.AlignRight
                                Layout.fillWidth: true
                                Layout.preferredWidth: 10
                            }
                        }
                    }
                    Repeater {
                        model: page.channels

                        RowLayout {
                            id: channel

                            required property var modelData

                            Layout.fillWidth: true
                            Layout.preferredHeight: 38

                            Repeater {
                                model: [channel.modelData.name, channel.modelData.accepted,
                                    channel.modelData.delivered, channel.modelData.waiting,
                                    channel.modelData.dropped]

                                Text {
                                    required property int index
                                    required property var modelData

                                    text: modelData
                                    color: index === 4 && modelData > 0 ? Theme.down
                                        : index === 2 ? Theme.up : Theme.text
                                    font { pixelSize: 14; weight: index === 0 ? Font.DemiBold : Font.Normal }
                                    horizontalAlignment: index === 0 ? Text.AlignLeft : Text.AlignRight
                                    Layout.fillWidth: true
                                    Layout.preferredWidth: 10
                                }
                            }
                        }
                    }
                    Text {
                        text: "What became of each event so far. Nothing is lost without a trace."
                        color: Theme.faint
                        font.pixelSize: 12
                        wrapMode: Text.WordWrap
                        Layout.fillWidth: true
                        Layout.topMargin: 14
                    }
                }
            }
        }
        RowLayout {
            spacing: 16
            Layout.fillWidth: true

            Card {
                title: "Account"
                Layout.fillWidth: true
                Layout.preferredWidth: 10
                Layout.preferredHeight: 262

                Column {
                    anchors.fill: parent

                    Repeater {
                        model: [["USD", Desk.cash.toFixed(2)]].concat(Object.keys(Desk.holdings)
                            .map(name => [name, Number(Desk.holdings[name].toFixed(4))]))

                        Item {
                            required property var modelData

                            width: parent.width
                            height: 34

                            Text {
                                anchors.verticalCenter: parent.verticalCenter
                                text: parent.modelData[0]
                                color: Theme.muted
                                font.pixelSize: 13
                            }
                            Text {
                                anchors { right: parent.right; verticalCenter: parent.verticalCenter }
                                text: parent.modelData[0] === "USD"
                                    ? Theme.number(parent.modelData[1], 2) : parent.modelData[1]
                                color: Theme.text
                                font.pixelSize: 14
                            }
                        }
                    }
                }
            }
            Card {
                title: "Try it out"
                Layout.fillWidth: true
                Layout.preferredWidth: 10
                Layout.preferredHeight: 262

                ColumnLayout {
                    anchors { left: parent.left; right: parent.right; top: parent.top }
                    spacing: 12

                    Setting {
                        title: "A slow frame"
                        note: "Blocks the interface for 60 ms: one SLOW-FRAME"

                        ActionButton {
                            objectName: "slow"
                            text: "Slow down"
                            isQuiet: true
                            onClicked: Desk.block(60)
                        }
                    }
                    Setting {
                        title: "A frozen frame"
                        note: "Blocks it for 0.8 seconds: one FROZEN-FRAME"

                        ActionButton {
                            objectName: "freeze"
                            text: "Freeze"
                            isQuiet: true
                            onClicked: Desk.block(800)
                        }
                    }
                }
            }
        }
        Item {
            Layout.fillHeight: true
        }
    }
}
