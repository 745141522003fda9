import QtQuick
import QtQuick.Controls
import Trading

Button {
    id: button

    property color tint: Theme.accent
    property bool isQuiet: false

    implicitHeight: 42
    leftPadding: 18
    rightPadding: 18
    font { pixelSize: 14; weight: Font.DemiBold }

    contentItem: Text {
        text: button.text
        font: button.font
        color: button.isQuiet ? Theme.text : "#0d1117"
        horizontalAlignment: Text.AlignHCenter
        verticalAlignment: Text.AlignVCenter
    }
    background: Rectangle {
        radius: 8
        color: button.isQuiet ? Theme.raised : button.tint
        border.color: button.isQuiet ? Theme.line : "transparent"
        opacity: button.down ? 0.75 : button.hovered ? 0.92 : 1
    }
}
