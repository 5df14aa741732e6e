import QtQuick
import Varnelle.Ui

// The words of the pointer to the dock bar.
Item {
    id: root

    required property real glowStrength

    implicitHeight: text.implicitHeight + 40
    implicitWidth: text.implicitWidth + 48

    Rectangle {
        anchors.fill: parent
        anchors.margins: -3
        border.color: Theme.focusRing
        border.width: 3
        color: "transparent"
        opacity: 0.15 + 0.35 * root.glowStrength
        radius: 25
    }

    Shadow {
        anchors.fill: parent
        anchors.margins: -extent
        blur: 14
        cornerRadius: 22
        opacity: 0.35
    }

    Rectangle {
        anchors.fill: parent
        border.color: Qt.rgba(1, 1, 1, 0.36)
        border.width: 1
        radius: 22

        gradient: Gradient {
            GradientStop {
                color: Qt.rgba(0.24, 0.2, 0.62, 0.88)
                position: 0
            }
            GradientStop {
                color: Qt.rgba(0.12, 0.11, 0.32, 0.96)
                position: 1
            }
        }
    }

    Column {
        id: text

        anchors.centerIn: parent
        spacing: 5

        Text {
            anchors.horizontalCenter: parent.horizontalCenter
            color: "white"
            font.family: Theme.family
            font.pixelSize: 20
            font.weight: Font.Black
            text: qsTr("Varnelle Dock")
        }

        Text {
            anchors.horizontalCenter: parent.horizontalCenter
            color: Qt.rgba(1, 1, 1, 0.9)
            font.family: Theme.family
            font.pixelSize: Theme.label
            font.weight: Font.Medium
            text: qsTr("Choose sources, and start recording here")
        }
    }
}
