import QtQuick
import Varnelle.Ui

// A switch that is on or off.
Pressable {
    id: root

    required property bool isOn

    accessibleRole: Accessible.CheckBox
    implicitHeight: 22
    implicitWidth: 38
    isCheckable: true
    isChecked: isOn
    opacity: enabled ? 1 : 0.4
    ringRadius: 13

    Rectangle {
        anchors.fill: parent
        border.color: Theme.hairline
        border.width: root.isOn ? 0 : 1
        color: root.isOn ? Theme.accent : root.isHovered ? Theme.pressed : Theme.hovered
        radius: height / 2

        Behavior on color  {
            ColorAnimation {
                duration: Theme.quick
            }
        }
    }

    Rectangle {
        anchors.verticalCenter: parent.verticalCenter
        color: "white"
        height: parent.height - 4
        radius: height / 2
        width: height
        x: root.isOn ? parent.width - width - 2 : 2

        Behavior on x  {
            NumberAnimation {
                duration: Theme.quick
                easing.type: Easing.OutCubic
            }
        }
    }
}
