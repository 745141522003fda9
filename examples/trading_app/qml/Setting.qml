import QtQuick
import QtQuick.Controls
import QtQuick.Layouts
import Trading

// What a setting is called and does, and what changes it.
RowLayout {
    id: setting

    property string title
    property string note
    // With a name, a switch stands at the right.
    property string switchName
    property bool isOn: false
    signal switched(bool isOn)

    spacing: 16
    Layout.fillWidth: true
    Layout.minimumHeight: 52
    Layout.maximumHeight: 52

    Column {
        spacing: 3
        Layout.fillWidth: true
        Layout.alignment: Qt.AlignVCenter

        Text {
            text: setting.title
            color: Theme.text
            font.pixelSize: 14
        }
        Text {
            text: setting.note
            color: Theme.faint
            font.pixelSize: 12
        }
    }
    AbstractButton {
        objectName: setting.switchName
        visible: setting.switchName !== ""
        implicitWidth: 44
        implicitHeight: 24
        onClicked: setting.switched(!setting.isOn)

        background: Rectangle {
            radius: 12
            color: setting.isOn ? Theme.accent : Theme.raised
            border.color: setting.isOn ? Theme.accent : Theme.line
        }
        contentItem: Item {
            Rectangle {
                x: setting.isOn ? 23 : 3
                y: 3
                width: 18
                height: 18
                radius: 9
                color: setting.isOn ? "white" : Theme.muted

                Behavior on x {
                    NumberAnimation { duration: 120 }
                }
            }
        }
    }
}
