import QtQuick
import QtQuick.Controls
import QtQuick.Layouts
import Trading

// A number with its name before and its unit behind.
Rectangle {
    id: field

    property string label
    property string unit
    property alias text: input.text
    property alias inputName: input.objectName
    readonly property double value: Number(input.text.replace(/,/g, ""))

    implicitHeight: 46
    radius: 8
    color: Theme.ground
    border.color: input.activeFocus ? Theme.accent : Theme.line
    opacity: enabled ? 1 : 0.55

    RowLayout {
        anchors { fill: parent; leftMargin: 14; rightMargin: 14 }
        spacing: 10

        Text {
            text: field.label
            color: Theme.muted
            font.pixelSize: 13
        }
        TextField {
            id: input

            horizontalAlignment: Text.AlignRight
            color: Theme.text
            selectionColor: Theme.accent
            selectedTextColor: "#0d1117"
            selectByMouse: true
            font { pixelSize: 14; weight: Font.DemiBold }
            validator: RegularExpressionValidator { regularExpression: /[0-9]{0,9}(\.[0-9]{0,8})?/ }
            padding: 0
            background: null
            Layout.fillWidth: true
            Layout.fillHeight: true
        }
        Text {
            text: field.unit
            color: Theme.faint
            font.pixelSize: 12
        }
    }
}
