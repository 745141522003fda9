import QtQuick
import Trading

// A pair in the list. The columns are shares of the width, the same as in the list's head.
Item {
    id: row

    required property int index
    required property string name
    required property string fullName
    required property double price
    required property int decimals
    required property double change
    required property double high
    required property double low
    required property double volume
    required property int direction
    required property var closes
    property var columns: []
    signal opened()

    onPriceChanged: {
        if (!Theme.flashesPrices)
            return
        flash.color = Theme.trend(direction)
        fading.restart()
    }

    Rectangle {
        anchors { fill: parent; leftMargin: -10; rightMargin: -10; topMargin: 1; bottomMargin: 1 }
        radius: 8
        color: Theme.raised
        opacity: hover.hovered ? 0.6 : 0
    }
    Rectangle {
        anchors { left: parent.left; right: parent.right; bottom: parent.bottom }
        height: 1
        color: Theme.line
        opacity: 0.5
    }
    Rectangle {
        id: coin

        anchors.verticalCenter: parent.verticalCenter
        width: 30
        height: 30
        radius: 15
        color: Qt.hsla((row.index * 0.137 + 0.08) % 1, 0.42, 0.32, 1)

        Text {
            anchors.centerIn: parent
            text: row.name.charAt(0)
            color: Theme.text
            font { pixelSize: 13; weight: Font.DemiBold }
        }
    }
    Text {
        anchors { left: coin.right; leftMargin: 12; bottom: parent.verticalCenter }
        text: row.name
        color: Theme.text
        font { pixelSize: 14; weight: Font.DemiBold }
    }
    Text {
        anchors { left: coin.right; leftMargin: 12; top: parent.verticalCenter; topMargin: 1 }
        text: row.fullName
        color: Theme.faint
        font.pixelSize: 11
    }
    Rectangle {
        id: flash

        x: priceText.x + priceText.width - priceText.contentWidth - 7
        anchors.verticalCenter: parent.verticalCenter
        width: priceText.contentWidth + 14
        height: 26
        radius: 6
        opacity: 0

        NumberAnimation on opacity {
            id: fading

            running: false
            from: 0.34
            to: 0
            duration: 600
        }
    }
    Text {
        id: priceText

        x: row.columns[0].right * row.width - width
        width: 120
        anchors.verticalCenter: parent.verticalCenter
        horizontalAlignment: Text.AlignRight
        text: Theme.number(row.price, row.decimals)
        color: Theme.text
        font { pixelSize: 14; weight: Font.DemiBold }
    }
    Rectangle {
        x: row.columns[1].right * row.width - width
        anchors.verticalCenter: parent.verticalCenter
        width: 78
        height: 26
        radius: 6
        color: Qt.alpha(Theme.trend(row.change), 0.14)

        Text {
            anchors.centerIn: parent
            text: Theme.percent(row.change)
            color: Theme.trend(row.change)
            font { pixelSize: 12; weight: Font.DemiBold }
        }
    }
    Repeater {
        model: [Theme.number(row.high, row.decimals), Theme.number(row.low, row.decimals),
            Theme.compact(row.volume)]

        Text {
            required property int index
            required property string modelData

            x: row.columns[2 + index].right * row.width - width
            anchors.verticalCenter: row.verticalCenter
            text: modelData
            color: Theme.muted
            font.pixelSize: 13
        }
    }
    Sparkline {
        x: row.width - width
        anchors.verticalCenter: parent.verticalCenter
        width: 0.14 * row.width
        height: 30
        values: row.closes
        color: Theme.trend(row.change)
    }
    HoverHandler {
        id: hover
    }
    TapHandler {
        onTapped: row.opened()
    }
}
