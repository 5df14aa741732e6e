import QtQuick
import Varnelle.Ui

// Takes a value back to what it is at first.
Pressable {
    id: root

    implicitHeight: 20
    implicitWidth: label.implicitWidth + 14
    opacity: enabled ? 1 : 0
    ringRadius: 7

    Rectangle {
        anchors.fill: parent
        color: root.isDown ? Theme.pressed : root.isHovered ? Theme.hovered : Theme.raised
        radius: 5
    }

    Text {
        id: label

        anchors.centerIn: parent
        color: Theme.text
        font.family: Theme.family
        font.pixelSize: Theme.caption
        font.weight: Font.Medium
        text: qsTr("Reset")
    }
}
