import QtQuick

// A small picture made of bars: [x, y, width, height] in a square of 20.
Item {
    id: icon

    property var bars: []
    property color color

    implicitWidth: 20
    implicitHeight: 20

    Repeater {
        model: icon.bars

        Rectangle {
            required property var modelData

            x: modelData[0]
            y: modelData[1]
            width: modelData[2]
            height: modelData[3]
            radius: 1.5
            color: icon.color
        }
    }
}
