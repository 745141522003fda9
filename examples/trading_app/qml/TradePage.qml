import QtQuick
import QtQuick.Controls
import QtQuick.Layouts
import Trading

Page {
    id: page

    property string telvoraScene: "Trade"
    property var telvoraParams: ({ pair: ChosenPair.name })

    readonly property string side: sides.current === 0 ? "buy" : "sell"
    readonly property bool isLimit: kinds.current === 0
    readonly property double price: isLimit ? priceField.value : ChosenPair.price
    readonly property double worth: price * amountField.value
    readonly property double fee: worth * Desk.fee
    readonly property double held: Desk.holdings[ChosenPair.base] ?? 0
    property string refusal

    function submit() {
        refusal = Desk.submit(side, ChosenPair.name, isLimit ? price : 0, amountField.value)
        if (refusal === "")
            amountField.text = ""
    }
    function fillPrice() {
        priceField.text = ChosenPair.price.toFixed(ChosenPair.decimals)
    }

    background: null
    Component.onCompleted: fillPrice()

    Connections {
        target: ChosenPair

        function onNameChanged() {
            page.fillPrice()
        }
    }

    ConfirmOrder {
        id: confirm

        side: page.side
        price: page.price
        amount: amountField.value
        onAccepted: page.submit()
    }

    ColumnLayout {
        anchors.fill: parent
        spacing: 18

        PairHeader {}
        RowLayout {
            spacing: 16
            Layout.fillWidth: true
            Layout.fillHeight: true

            ColumnLayout {
                spacing: 16
                Layout.fillWidth: true
                Layout.fillHeight: true

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
                    title: "Your orders"
                    note: Desk.orders.length === 0 ? "" : "newest first"
                    Layout.fillWidth: true
                    Layout.preferredHeight: 212

                    Text {
                        visible: Desk.orders.length === 0
                        anchors.centerIn: parent
                        text: "No orders yet"
                        color: Theme.faint
                        font.pixelSize: 13
                    }
                    OrderList {
                        visible: Desk.orders.length > 0
                        anchors.fill: parent
                    }
                }
            }
            Card {
                Layout.preferredWidth: 320
                Layout.fillHeight: true

                ColumnLayout {
                    anchors { left: parent.left; right: parent.right; top: parent.top }
                    spacing: 14

                    Choice {
                        id: sides

                        options: ["Buy", "Sell"]
                        tints: [Theme.up, Theme.down]
                        implicitHeight: 44
                        Layout.fillWidth: true
                    }
                    Choice {
                        id: kinds

                        options: ["Limit", "Market"]
                        Layout.fillWidth: true
                    }
                    Field {
                        id: priceField

                        inputName: "price"
                        label: "Price"
                        unit: "USD"
                        enabled: page.isLimit
                        Layout.fillWidth: true
                    }
                    Field {
                        id: amountField

                        inputName: "amount"
                        label: "Amount"
                        unit: ChosenPair.base
                        Layout.fillWidth: true
                    }
                    RowLayout {
                        spacing: 8
                        Layout.fillWidth: true

                        Repeater {
                            model: [10, 25, 50, 100]

                            ActionButton {
                                required property int modelData

                                objectName: "share" + modelData
                                text: modelData + " %"
                                isQuiet: true
                                implicitHeight: 32
                                leftPadding: 0
                                rightPadding: 0
                                font { pixelSize: 12; weight: Font.Normal }
                                Layout.fillWidth: true
                                Layout.preferredWidth: 10
                                onClicked: {
                                    const all = page.side === "sell" ? page.held
                                        : Desk.cash / (1 + Desk.fee) / Math.max(page.price, 1e-9)
                                    // Never more than there is.
                                    amountField.text = Math.floor(all * modelData * 100) / 10000
                                }
                            }
                        }
                    }
                    Rectangle {
                        implicitHeight: 1
                        color: Theme.line
                        Layout.fillWidth: true
                        Layout.topMargin: 6
                        Layout.bottomMargin: 6
                    }
                    Repeater {
                        model: [["Available", page.side === "buy" ? Theme.dollars(Desk.cash)
                                : Theme.amount(page.held, page.price) + " " + ChosenPair.base],
                            ["Fee, " + (Desk.fee * 100).toFixed(2) + " %", Theme.dollars(page.fee)],
                            ["Total", Theme.dollars(page.side === "buy" ? page.worth + page.fee
                                : page.worth - page.fee)]]

                        RowLayout {
                            required property int index
                            required property var modelData

                            Layout.fillWidth: true

                            Text {
                                text: parent.modelData[0]
                                color: Theme.muted
                                font.pixelSize: 13
                                Layout.fillWidth: true
                            }
                            Text {
                                text: parent.modelData[1]
                                color: Theme.text
                                font {
                                    pixelSize: parent.index === 2 ? 16 : 13
                                    weight: parent.index === 2 ? Font.DemiBold : Font.Normal
                                }
                            }
                        }
                    }
                    ActionButton {
                        objectName: "submit"
                        text: (page.side === "buy" ? "Buy " : "Sell ") + ChosenPair.base
                        tint: page.side === "buy" ? Theme.up : Theme.down
                        implicitHeight: 46
                        Layout.fillWidth: true
                        Layout.topMargin: 6
                        onClicked: {
                            page.refusal = ""
                            if (Theme.asksBeforeOrders && page.worth > 0)
                                confirm.open()
                            else
                                page.submit()
                        }
                    }
                    Text {
                        text: page.refusal
                        color: Theme.down
                        font.pixelSize: 12
                        wrapMode: Text.WordWrap
                        Layout.fillWidth: true
                    }
                }
            }
        }
    }
}
