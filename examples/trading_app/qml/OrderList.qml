import QtQuick
import QtQuick.Controls
import Trading

// The user's orders. One that is open can be taken back.
Item {
    id: list

    readonly property var columns: [0, 0.15, 0.31, 0.43, 0.62, 0.80]
    readonly property var states: ({
        open: { text: "Open", color: Theme.accent },
        filled: { text: "Filled", color: Theme.up },
        cancelled: { text: "Cancelled", color: Theme.faint }
    })

    Repeater {
        model: ["Time", "Pair", "Side", "Price", "Amount", "State"]

        Text {
            required property int index
            required property string modelData

            x: list.columns[index] * list.width
            text: modelData
            color: Theme.faint
            font.pixelSize: 12
        }
    }
    ListView {
        anchors { fill: parent; topMargin: 22 }
        clip: true
        boundsBehavior: Flickable.StopAtBounds
        model: Desk.orders
        delegate: Item {
            id: order

            required property var modelData
            readonly property var cells: [
                [modelData.time, Theme.muted],
                [modelData.pair, Theme.text],
                [modelData.side === "buy" ? "Buy" : "Sell", modelData.side === "buy" ? Theme.up : Theme.down],
                [Theme.number(modelData.price, modelData.decimals), Theme.text],
                [modelData.amount, Theme.text],
                [list.states[modelData.state].text, list.states[modelData.state].color]]

            width: ListView.view.width
            height: 29

            Repeater {
                model: order.cells

                Text {
                    required property int index
                    required property var modelData

                    x: list.columns[index] * order.width
                    anchors.verticalCenter: order.verticalCenter
                    text: modelData[0]
                    color: modelData[1]
                    font.pixelSize: 13
                }
            }
            AbstractButton {
                id: cancel

                objectName: "cancelOrder" + order.modelData.number
                visible: order.modelData.state === "open"
                anchors { right: parent.right; verticalCenter: parent.verticalCenter }
                width: 56
                height: 22
                onClicked: Desk.cancel(order.modelData.number)

                background: Rectangle {
                    radius: 5
                    color: Theme.raised
                    border.color: Theme.line
                }
                contentItem: Text {
                    text: "Cancel"
                    color: cancel.hovered ? Theme.text : Theme.muted
                    font.pixelSize: 11
                    horizontalAlignment: Text.AlignHCenter
                    verticalAlignment: Text.AlignVCenter
                }
            }
        }
    }
}
