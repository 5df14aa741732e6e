import QtQuick
import Varnelle.Ui

// One of the eight knobs of the area's frame, around its middle.
Item {
    implicitHeight: 8
    implicitWidth: 8

    Shadow {
        anchors.fill: parent
        anchors.margins: -extent
        blur: 2
        cornerRadius: 4
        opacity: 0.25
    }

    Rectangle {
        anchors.fill: parent
        border.color: Qt.rgba(0, 0, 0, 0.35)
        border.width: 1
        color: "white"
        radius: 4
    }
}
