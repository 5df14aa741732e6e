import QtQuick
import QtQuick.Layouts
import Varnelle.Ui

// A push button with a text and, if it has a name, an icon.
Pressable {
    id: root

    required property string text
    property string iconName: ""
    // The one button of a group that the user most likely wants.
    property bool isProminent: false
    property bool isDestructive: false

    readonly property color surface: isProminent ? Theme.accent : Theme.raised

    accessibleName: text
    implicitHeight: Theme.controlHeight
    implicitWidth: content.implicitWidth + 2 * Theme.margin
    opacity: enabled ? 1 : 0.45

    Rectangle {
        anchors.fill: parent
        border.color: Theme.hairline
        border.width: root.isProminent ? 0 : 1
        color: root.isDown ? (root.isProminent ? Theme.accentPressed : Theme.pressed) : root.isHovered ? (root.isProminent ? Theme.accentHovered : Theme.hovered) : root.surface
        radius: Theme.radius

        Behavior on color  {
            ColorAnimation {
                duration: Theme.quick
            }
        }
    }

    RowLayout {
        id: content

        anchors.centerIn: parent
        spacing: Theme.gap

        Icon {
            color: label.color
            name: root.iconName
            size: 16
            visible: root.iconName !== ""
        }

        Text {
            id: label

            color: root.isDestructive ? "#ff8a80" : Theme.text
            font.family: Theme.family
            font.pixelSize: Theme.body
            font.weight: Font.DemiBold
            text: root.text
        }
    }
}
