import QtQuick
import Varnelle.Ui

// The program's own icon: a lens on the accent colour.
Item {
    id: root

    Accessible.ignored: true
    implicitHeight: 84
    implicitWidth: 84

    Shadow {
        anchors.fill: parent
        anchors.margins: -extent
        blur: root.width * 0.06
        cornerRadius: tile.radius
        opacity: 0.15
    }

    Rectangle {
        id: tile

        anchors.fill: parent
        radius: width * 0.225

        gradient: Gradient {
            GradientStop {
                color: "#7d74ff"
                position: 0
            }

            GradientStop {
                color: "#4a3fe0"
                position: 1
            }
        }

        Rectangle {
            anchors.centerIn: parent
            border.color: Qt.rgba(1, 1, 1, 0.95)
            border.width: parent.width * 0.07
            color: "transparent"
            height: width
            radius: width / 2
            width: parent.width * 0.58
        }

        Rectangle {
            anchors.centerIn: parent
            color: "#ffffff"
            height: width
            radius: width / 2
            width: parent.width * 0.26
        }
    }
}
