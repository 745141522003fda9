import QtQuick
import QtQuick.Layouts
import Trading

// The chosen pair's name, price and day.
RowLayout {
    id: header

    spacing: 32
    Layout.fillWidth: true

    ColumnLayout {
        spacing: 2

        Text {
            text: ChosenPair.name
            color: Theme.text
            font { pixelSize: 24; weight: Font.DemiBold }
        }
        Text {
            text: ChosenPair.fullName
            color: Theme.faint
            font.pixelSize: 12
        }
    }
    ColumnLayout {
        spacing: 2

        Text {
            text: Theme.number(ChosenPair.price, ChosenPair.decimals)
            color: ChosenPair.direction === 0 ? Theme.text : Theme.trend(ChosenPair.direction)
            font { pixelSize: 22; weight: Font.DemiBold }
            Layout.preferredWidth: 130
        }
        Text {
            text: Theme.percent(ChosenPair.change)
            color: Theme.trend(ChosenPair.change)
            font { pixelSize: 12; weight: Font.DemiBold }
        }
    }
    Item {
        Layout.fillWidth: true
    }
    Repeater {
        model: [["24 h high", Theme.number(ChosenPair.high, ChosenPair.decimals)],
            ["24 h low", Theme.number(ChosenPair.low, ChosenPair.decimals)],
            ["24 h volume", "$" + Theme.compact(ChosenPair.volume)]]

        ColumnLayout {
            required property var modelData

            spacing: 4

            Text {
                text: parent.modelData[0]
                color: Theme.faint
                font.pixelSize: 12
            }
            Text {
                text: parent.modelData[1]
                color: Theme.text
                font.pixelSize: 14
            }
        }
    }
}
