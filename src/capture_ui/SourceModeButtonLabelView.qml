import QtQuick
import Varnelle.Ui

// A kind of source: its icon over its name, on a plate while it is chosen.
Item {
    id: root

    required property string icon
    required property string label
    required property bool isSelected
    property bool isHovered: false
    property bool isDown: false

    implicitHeight: 42
    implicitWidth: 60
    opacity: isSelected ? 1 : 0.9

    Rectangle {
        anchors.fill: parent
        border.color: Qt.rgba(1, 1, 1, 0.28)
        border.pixelAligned: false
        border.width: 0.5
        color: Qt.rgba(1, 1, 1, 0.15)
        opacity: root.isSelected ? 1 : 0
        radius: 12
        scale: root.isSelected ? 1 : 0.86

        Behavior on opacity  {
            NumberAnimation {
                duration: Theme.quick
            }
        }
        Behavior on scale  {
            SpringMotion {
            }
        }
    }

    Rectangle {
        anchors.fill: parent
        color: "white"
        opacity: root.isDown ? 0.12 : root.isHovered && !root.isSelected ? 0.07 : 0
        radius: 12

        Behavior on opacity  {
            NumberAnimation {
                duration: Theme.quick
            }
        }
    }

    Column {
        anchors.centerIn: parent
        spacing: 4

        Icon {
            anchors.horizontalCenter: parent.horizontalCenter
            color: "white"
            name: root.icon
            size: 18
        }

        Text {
            anchors.horizontalCenter: parent.horizontalCenter
            color: "white"
            font.family: Theme.family
            font.pixelSize: Theme.caption
            font.weight: root.isSelected ? Font.DemiBold : Font.Medium
            text: root.label
        }
    }
}
