import QtQuick
import QtQuick.Layouts
import Trading

// A pair that stands out, in a few words and with its curve.
Card {
    id: summary

    property string caption
    property var pair
    property string figure: Theme.number(pair.price, pair.decimals)

    implicitHeight: 96
    Layout.fillWidth: true

    Text {
        id: captionText

        text: summary.caption
        color: Theme.muted
        font.pixelSize: 12
    }
    Text {
        id: name

        anchors { top: captionText.bottom; topMargin: 10 }
        text: summary.pair.name
        color: Theme.text
        font { pixelSize: 16; weight: Font.DemiBold }
    }
    Text {
        anchors { top: name.bottom; topMargin: 4 }
        text: summary.figure
        color: Theme.muted
        font.pixelSize: 12
    }
    Text {
        anchors.right: parent.right
        text: Theme.percent(summary.pair.change)
        color: Theme.trend(summary.pair.change)
        font { pixelSize: 13; weight: Font.DemiBold }
    }
    Sparkline {
        anchors { right: parent.right; bottom: parent.bottom }
        width: Math.min(130, parent.width * 0.45)
        height: 34
        values: summary.pair.closes
        color: Theme.trend(summary.pair.change)
    }
}
