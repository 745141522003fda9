import QtQuick
import Trading

// The orders of one side, each with a bar as long as what is offered up to it.
Column {
    id: side

    property alias rows: repeater.model
    property color tint
    property double rowHeight: 22

    Repeater {
        id: repeater

        Item {
            id: row

            required property double price
            required property double amount
            required property double total
            required property double share

            width: side.width
            height: side.rowHeight

            Rectangle {
                anchors { right: parent.right; rightMargin: -8; verticalCenter: parent.verticalCenter }
                width: (parent.width + 16) * row.share
                height: parent.height - 2
                radius: 3
                color: side.tint
                opacity: 0.12
            }
            Text {
                anchors.verticalCenter: parent.verticalCenter
                text: Theme.number(row.price, ChosenPair.decimals)
                color: side.tint
                font.pixelSize: 13
            }
            Text {
                anchors { right: parent.right; rightMargin: parent.width * 0.34; verticalCenter: parent.verticalCenter }
                text: Theme.amount(row.amount, row.price)
                color: Theme.text
                font.pixelSize: 13
            }
            Text {
                anchors { right: parent.right; verticalCenter: parent.verticalCenter }
                text: Theme.amount(row.total, row.price)
                color: Theme.muted
                font.pixelSize: 13
            }
        }
    }
}
