pragma ComponentBehavior: Bound

import QtQuick
import Varnelle.Ui

// A running time whose digits all take the same room, so that it doesn't tremble.
Row {
    id: root

    required property string text
    property color color: Theme.text
    property font font

    font.family: Theme.family
    font.pixelSize: Theme.body
    font.weight: Font.DemiBold

    Accessible.name: text
    Accessible.role: Accessible.StaticText

    TextMetrics {
        id: digit

        font: root.font
        text: "0"
    }

    Repeater {
        model: root.text.length

        Text {
            required property int index
            readonly property string character: root.text.charAt(index)

            Accessible.ignored: true
            color: root.color
            font: root.font
            horizontalAlignment: Text.AlignHCenter
            text: character
            width: character >= "0" && character <= "9" ? Math.ceil(digit.advanceWidth) : implicitWidth
        }
    }
}
