import QtQuick
import QtQuick.Layouts
import Trading

// One of a few, side by side.
Rectangle {
    id: choice

    property var options: []
    property int current: 0
    // Each option's colour while it is chosen.
    property var tints: []
    signal chosen(int index)

    implicitHeight: 38
    implicitWidth: 96 * options.length
    radius: 8
    color: Theme.ground
    border.color: Theme.line

    RowLayout {
        anchors { fill: parent; margins: 3 }
        spacing: 3

        Repeater {
            model: choice.options

            Rectangle {
                required property int index
                required property string modelData
                readonly property bool isCurrent: index === choice.current
                readonly property bool isTinted: isCurrent && choice.tints.length > index

                objectName: "choice" + modelData
                radius: 6
                color: isTinted ? choice.tints[index] : isCurrent ? Theme.raised : "transparent"
                Layout.fillWidth: true
                Layout.fillHeight: true

                Text {
                    anchors.centerIn: parent
                    text: parent.modelData
                    color: parent.isTinted ? "#0d1117" : parent.isCurrent ? Theme.text : Theme.muted
                    font { pixelSize: 13; weight: Font.DemiBold }
                }
                TapHandler {
                    onTapped: {
                        choice.current = parent.index
                        choice.chosen(parent.index)
                    }
                }
            }
        }
    }
}
