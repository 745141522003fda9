pragma Singleton

import QtQuick

// Colours, numbers as text, and what the user has set.
QtObject {
    readonly property color side: "#0a0d13"
    readonly property color ground: "#0d1117"
    readonly property color card: "#131924"
    readonly property color raised: "#1b2331"
    readonly property color line: "#212b3a"
    readonly property color text: "#e6ebf2"
    readonly property color muted: "#8a96a8"
    readonly property color faint: "#5a6577"
    readonly property color accent: "#5b8def"
    readonly property color up: "#2ebd8b"
    readonly property color down: "#e8606d"

    property bool flashesPrices: true
    property bool asksBeforeOrders: true

    function trend(value) {
        return value < 0 ? down : up
    }
    function number(value, decimals) {
        return Number(value).toLocaleString(Qt.locale("en_US"), "f", decimals)
    }
    function percent(value) {
        return (value < 0 ? "−" : "+") + Math.abs(value).toFixed(2) + " %"
    }
    function dollars(value) {
        return "$" + number(value, 2)
    }
    function compact(value) {
        if (value >= 1e9)
            return (value / 1e9).toFixed(2) + " B"
        if (value >= 1e6)
            return (value / 1e6).toFixed(1) + " M"
        return number(value, 0)
    }
    // As many digits as an amount of this pair needs, which is worth a dollar or so.
    function amount(value, price) {
        return number(value, price > 10000 ? 4 : price > 100 ? 3 : price > 1 ? 2 : 0)
    }
}
