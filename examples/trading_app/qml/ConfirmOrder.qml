import QtQuick
import QtQuick.Controls
import QtQuick.Layouts
import Trading

Dialog {
    id: dialog

    property string telvoraScene: "ConfirmOrder"
    property string side
    property double price
    property double amount

    parent: Overlay.overlay
    anchors.centerIn: parent
    width: 380
    padding: 24
    modal: true

    Overlay.modal: Rectangle {
        color: "#b0060910"
    }
    background: Rectangle {
        radius: 14
        color: Theme.card
        border.color: Theme.line
    }
    enter: Transition {
        NumberAnimation { property: "opacity"; from: 0; to: 1; duration: 140 }
    }
    exit: Transition {
        NumberAnimation { property: "opacity"; from: 1; to: 0; duration: 100 }
    }
    contentItem: ColumnLayout {
        spacing: 14

        Text {
            text: "Confirm your order"
            color: Theme.text
            font { pixelSize: 18; weight: Font.DemiBold }
            Layout.bottomMargin: 6
        }
        Repeater {
            model: [["Order", (dialog.side === "buy" ? "Buy " : "Sell ") + ChosenPair.name],
                ["Price", Theme.number(dialog.price, ChosenPair.decimals) + " USD"],
                ["Amount", dialog.amount + " " + ChosenPair.base],
                ["Total", Theme.dollars(dialog.price * dialog.amount)]]

            RowLayout {
                required property int index
                required property var modelData

                Layout.fillWidth: true

                Text {
                    text: parent.modelData[0]
                    color: Theme.muted
                    font.pixelSize: 13
                    Layout.fillWidth: true
                }
                Text {
                    text: parent.modelData[1]
                    color: parent.index !== 0 ? Theme.text : dialog.side === "buy" ? Theme.up : Theme.down
                    font { pixelSize: 14; weight: Font.DemiBold }
                }
            }
        }
        RowLayout {
            spacing: 12
            Layout.topMargin: 10
            Layout.fillWidth: true

            ActionButton {
                objectName: "cancel"
                text: "Cancel"
                isQuiet: true
                Layout.fillWidth: true
                Layout.preferredWidth: 10
                onClicked: dialog.reject()
            }
            ActionButton {
                objectName: "confirm"
                text: dialog.side === "buy" ? "Buy" : "Sell"
                tint: dialog.side === "buy" ? Theme.up : Theme.down
                Layout.fillWidth: true
                Layout.preferredWidth: 10
                onClicked: dialog.accept()
            }
        }
    }
}
