import QtQuick
import QtQuick.Layouts
import Trading

// A panel with a title and what is put inside.
Rectangle {
    id: card

    property string title
    property string note
    property int margin: 18
    default property alias content: inside.data

    color: Theme.card
    radius: 12
    border.color: Theme.line

    RowLayout {
        id: head

        visible: card.title !== ""
        height: visible ? 20 : 0
        anchors { left: parent.left; right: parent.right; top: parent.top; margins: card.margin }

        Text {
            text: card.title
            color: Theme.text
            font { pixelSize: 14; weight: Font.DemiBold }
            Layout.fillWidth: true
        }
        Text {
            text: card.note
            color: Theme.faint
            font.pixelSize: 12
        }
    }
    Item {
        id: inside

        anchors {
            left: parent.left; right: parent.right; bottom: parent.bottom
            top: card.title !== "" ? head.bottom : parent.top
            margins: card.margin
            topMargin: card.title !== "" ? 14 : card.margin
        }
    }
}
