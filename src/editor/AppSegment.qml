import QtQuick
import Varnelle.Ui

// One of a few choices side by side.
Pressable {
    id: root

    required property string text
    required property bool isChosen

    accessibleName: text
    accessibleRole: Accessible.RadioButton
    implicitHeight: 24
    implicitWidth: label.implicitWidth + 18
    isCheckable: true
    isChecked: isChosen
    ringRadius: 8

    Rectangle {
        anchors.fill: parent
        color: root.isChosen ? Theme.accent : root.isDown ? Theme.pressed : root.isHovered ? Theme.hovered : Theme.raised
        radius: 6
    }

    Text {
        id: label

        anchors.centerIn: parent
        color: Theme.text
        font.family: Theme.family
        font.pixelSize: Theme.caption
        font.weight: Font.DemiBold
        text: root.text
    }
}
