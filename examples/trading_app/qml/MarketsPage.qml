import QtQuick
import QtQuick.Controls
import QtQuick.Layouts
import Trading

Page {
    id: page

    property string telvoraScene: "Markets"
    signal opened(string pair)

    readonly property var columns: [
        { title: "Last price", right: 0.36 }, { title: "Change", right: 0.48 },
        { title: "High", right: 0.60 }, { title: "Low", right: 0.71 },
        { title: "Volume, 24 h", right: 0.83 }, { title: "Trend", right: 1 }]

    background: null

    ColumnLayout {
        anchors.fill: parent
        spacing: 16

        RowLayout {
            Layout.fillWidth: true

            Text {
                text: "Markets"
                color: Theme.text
                font { pixelSize: 24; weight: Font.DemiBold }
            }
            Item {
                Layout.fillWidth: true
            }
            Text {
                text: Market.rowCount() + " pairs · simulated prices"
                color: Theme.faint
                font.pixelSize: 12
            }
        }
        RowLayout {
            spacing: 16
            Layout.fillWidth: true

            SummaryCard { caption: "Best today"; pair: Market.best }
            SummaryCard { caption: "Worst today"; pair: Market.worst }
            SummaryCard {
                caption: "Most traded"
                pair: Market.busiest
                figure: "$" + Theme.compact(pair.volume)
            }
        }
        Card {
            margin: 20
            Layout.fillWidth: true
            Layout.fillHeight: true

            Item {
                id: head

                width: parent.width
                height: 22

                Text {
                    text: "Pair"
                    color: Theme.faint
                    font.pixelSize: 12
                }
                Repeater {
                    model: page.columns

                    Text {
                        required property var modelData

                        x: modelData.right * head.width - width
                        text: modelData.title
                        color: Theme.faint
                        font.pixelSize: 12
                    }
                }
            }
            ListView {
                anchors { fill: parent; topMargin: head.height + 2 }
                clip: true
                boundsBehavior: Flickable.StopAtBounds
                model: Market
                delegate: MarketRow {
                    objectName: "row" + name.split("/")[0]
                    width: ListView.view.width
                    height: Math.max(44, ListView.view.height / ListView.view.count)
                    columns: page.columns
                    onOpened: page.opened(name)
                }
            }
        }
    }
}
