import QtQuick
import QtQuick.Controls
import QtQuick.Layouts
import Trading

Page {
    id: page

    property string telvoraScene: "OrderBook"
    property var telvoraParams: ({ pair: ChosenPair.name })
    signal tradeWanted()

    background: null

    ColumnLayout {
        anchors.fill: parent
        spacing: 18

        PairHeader {
            ActionButton {
                objectName: "tradeThis"
                text: "Trade " + ChosenPair.base
                onClicked: page.tradeWanted()
            }
        }
        RowLayout {
            spacing: 16
            Layout.fillWidth: true
            Layout.fillHeight: true

            Card {
                title: "Order book"
                Layout.preferredWidth: 300
                Layout.fillHeight: true

                Item {
                    id: head

                    width: parent.width
                    height: 22

                    Text { text: "Price"; color: Theme.faint; font.pixelSize: 12 }
                    Text {
                        anchors { right: parent.right; rightMargin: parent.width * 0.34 }
                        text: "Amount, " + ChosenPair.base
                        color: Theme.faint
                        font.pixelSize: 12
                    }
                    Text {
                        anchors.right: parent.right
                        text: "Total"
                        color: Theme.faint
                        font.pixelSize: 12
                    }
                }
                BookSide {
                    id: asks

                    anchors.top: head.bottom
                    width: parent.width
                    rows: ChosenPair.asks
                    tint: Theme.down
                    rowHeight: (parent.height - head.height - middle.height) / 22
                }
                Item {
                    id: middle

                    anchors.top: asks.bottom
                    width: parent.width
                    height: 48

                    Text {
                        anchors.verticalCenter: parent.verticalCenter
                        text: Theme.number(ChosenPair.price, ChosenPair.decimals)
                        color: ChosenPair.direction === 0 ? Theme.text : Theme.trend(ChosenPair.direction)
                        font { pixelSize: 18; weight: Font.DemiBold }
                    }
                    Text {
                        anchors { right: parent.right; verticalCenter: parent.verticalCenter }
                        text: "Spread " + Theme.number(ChosenPair.spread, ChosenPair.decimals)
                        color: Theme.faint
                        font.pixelSize: 12
                    }
                }
                BookSide {
                    anchors.top: middle.bottom
                    width: parent.width
                    rows: ChosenPair.bids
                    tint: Theme.up
                    rowHeight: asks.rowHeight
                }
            }
            Card {
                title: "Price"
                Layout.fillWidth: true
                Layout.fillHeight: true

                CandleChart {
                    anchors.fill: parent
                    pair: ChosenPair
                    up: Theme.up
                    down: Theme.down
                    grid: Theme.raised
                    label: Theme.faint
                }
            }
            Card {
                id: tape

                title: "Trades"
                Layout.preferredWidth: 240
                Layout.fillHeight: true

                Column {
                    anchors.fill: parent

                    Repeater {
                        model: ChosenPair.trades

                        Item {
                            id: trade

                            required property double price
                            required property double amount
                            required property bool isBuy
                            required property string time

                            width: parent.width
                            height: parent.height / 22

                            Text {
                                anchors.verticalCenter: parent.verticalCenter
                                text: Theme.number(trade.price, ChosenPair.decimals)
                                color: trade.isBuy ? Theme.up : Theme.down
                                font.pixelSize: 13
                            }
                            Text {
                                anchors { right: parent.right; rightMargin: 66; verticalCenter: parent.verticalCenter }
                                text: Theme.amount(trade.amount, trade.price)
                                color: Theme.text
                                font.pixelSize: 13
                            }
                            Text {
                                anchors { right: parent.right; verticalCenter: parent.verticalCenter }
                                text: trade.time
                                color: Theme.faint
                                font.pixelSize: 12
                            }
                        }
                    }
                }
            }
        }
    }
}
