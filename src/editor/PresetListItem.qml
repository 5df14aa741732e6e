import QtQuick
import Varnelle.Ui

// A size to export at.
Pressable {
    id: root

    required property string title
    required property string subtitle
    required property string symbol
    required property bool isSelected

    accessibleDescription: subtitle
    accessibleName: title
    accessibleRole: Accessible.RadioButton
    implicitHeight: 54
    isCheckable: true
    isChecked: isSelected
    ringRadius: 12

    Rectangle {
        anchors.fill: parent
        border.color: root.isSelected ? Theme.focusRing : Theme.hairline
        border.width: 1
        color: root.isSelected ? Qt.rgba(Theme.accent.r, Theme.accent.g, Theme.accent.b, 0.28) : root.isDown ? Theme.pressed : root.isHovered ? Theme.raised : Theme.panel
        radius: 10

        Behavior on color  {
            ColorAnimation {
                duration: Theme.quick
            }
        }
    }

    Icon {
        id: icon

        anchors.verticalCenter: parent.verticalCenter
        color: root.isSelected ? Theme.focusRing : Theme.secondaryText
        name: root.symbol
        size: 22
        x: 14
    }

    Column {
        anchors.left: icon.right
        anchors.leftMargin: 14
        anchors.verticalCenter: parent.verticalCenter
        spacing: 2

        Text {
            color: Theme.text
            font.family: Theme.family
            font.pixelSize: Theme.body
            font.weight: Font.DemiBold
            text: root.title
        }

        Text {
            color: root.isSelected ? Theme.text : Theme.secondaryText
            font.family: Theme.family
            font.pixelSize: Theme.caption
            text: root.subtitle
        }
    }

    Icon {
        anchors.right: parent.right
        anchors.rightMargin: 14
        anchors.verticalCenter: parent.verticalCenter
        color: Theme.focusRing
        name: "checkmark.circle.fill"
        size: 18
        visible: root.isSelected
    }
}
