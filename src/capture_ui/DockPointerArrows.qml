import QtQuick
import Varnelle.Ui

// Arrows that point down, on a plate of their own so that they show on any desktop.
Item {
    id: root

    implicitHeight: column.implicitHeight + 10
    implicitWidth: 52

    Rectangle {
        anchors.fill: parent
        border.color: Qt.rgba(1, 1, 1, 0.18)
        border.width: 1
        color: Qt.rgba(0.12, 0.11, 0.32, 0.82)
        radius: width / 2
    }

    Column {
        id: column

        anchors.centerIn: parent
        spacing: -10

        Icon {
            anchors.horizontalCenter: parent.horizontalCenter
            color: "white"
            name: "chevron.down"
            opacity: 0.82
            size: 26
        }

        Icon {
            anchors.horizontalCenter: parent.horizontalCenter
            color: "white"
            name: "chevron.down"
            opacity: 0.82
            size: 36
        }

        Icon {
            anchors.horizontalCenter: parent.horizontalCenter
            color: "white"
            lowerColor: Qt.rgba(1, 1, 1, 0.6)
            name: "arrowtriangle.down.fill"
            size: 32
        }
    }
}
