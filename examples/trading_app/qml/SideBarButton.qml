import QtQuick
import QtQuick.Controls
import QtQuick.Layouts
import Trading

AbstractButton {
    id: button

    property bool isCurrent: false
    property alias bars: icon.bars

    implicitHeight: 44
    Layout.fillWidth: true

    background: Rectangle {
        radius: 8
        color: button.isCurrent ? Theme.raised : button.hovered ? Theme.card : "transparent"

        Rectangle {
            visible: button.isCurrent
            anchors { left: parent.left; verticalCenter: parent.verticalCenter }
            width: 3
            height: 20
            radius: 1.5
            color: Theme.accent
        }
    }
    contentItem: Item {
        PageIcon {
            id: icon

            anchors { left: parent.left; leftMargin: 16; verticalCenter: parent.verticalCenter }
            color: button.isCurrent ? Theme.accent : Theme.muted
        }
        Text {
            anchors { left: icon.right; leftMargin: 14; verticalCenter: parent.verticalCenter }
            text: button.text
            color: button.isCurrent ? Theme.text : Theme.muted
            font { pixelSize: 14; weight: button.isCurrent ? Font.DemiBold : Font.Normal }
        }
    }
}
