import QtQuick
import Varnelle.Ui

// A button of the timeline's toolbar: a symbol, and for who points at it what it does.
Pressable {
    id: root

    required property string iconName
    required property string label
    property int iconSize: 16

    accessibleName: label
    implicitHeight: 30
    implicitWidth: 32
    opacity: enabled ? 1 : 0.35
    ringRadius: 9

    Rectangle {
        anchors.fill: parent
        color: root.isChecked ? Theme.accent : root.isDown ? Theme.pressed : root.isHovered ? Theme.hovered : "transparent"
        radius: 7

        Behavior on color  {
            ColorAnimation {
                duration: Theme.quick
            }
        }
    }

    Icon {
        anchors.centerIn: parent
        color: root.isChecked ? "white" : root.isHovered ? Theme.text : "#d5d8e0"
        name: root.iconName
        size: root.iconSize
    }
}
