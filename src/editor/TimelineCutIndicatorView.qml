import QtQuick
import Varnelle.Ui

// Where the scissors would cut.
Item {
    id: root

    required property real trackHeight

    Accessible.ignored: true
    height: trackHeight + 2
    width: 22

    Rectangle {
        color: "#ffd66b"
        height: parent.height
        width: 2
        x: 10
    }

    Rectangle {
        anchors.centerIn: parent
        border.color: Qt.rgba(0, 0, 0, 0.4)
        border.width: 1
        color: "#ffd66b"
        height: 22
        radius: 11
        width: 22

        Icon {
            anchors.centerIn: parent
            color: "#1a1b20"
            name: "scissors"
            size: 11
        }
    }
}
