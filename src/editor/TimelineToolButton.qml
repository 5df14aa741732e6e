import QtQuick
import Varnelle.Ui

// A button of the timeline's toolbar: a symbol, and for who points at it what it does.
Pressable {
    id: root

    required property string iconName
    required property string label
    property int iconSize: 16
    property bool showsTip: false

    accessibleName: label
    implicitHeight: 30
    implicitWidth: 32
    opacity: enabled ? 1 : 0.35
    ringRadius: 9
    z: showsTip ? 1 : 0

    onIsDownChanged: showsTip = false
    onIsHoveredChanged: if (!isHovered) {
        showsTip = false;
    }

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

    Timer {
        interval: 700
        running: root.isHovered && !root.isDown

        onTriggered: root.showsTip = root.isHovered && !root.isDown
    }

    Rectangle {
        anchors.horizontalCenter: parent.horizontalCenter
        anchors.top: parent.bottom
        anchors.topMargin: 6
        border.color: Theme.hairline
        border.width: 1
        color: Theme.menu
        height: 24
        objectName: "tip"
        opacity: root.showsTip ? 1 : 0
        radius: 6
        visible: opacity > 0
        width: tipText.implicitWidth + 18
        z: 2

        Behavior on opacity  {
            NumberAnimation {
                duration: Theme.quick
            }
        }

        Text {
            id: tipText

            Accessible.ignored: true
            anchors.centerIn: parent
            color: Theme.text
            font.family: Theme.family
            font.pixelSize: 11
            font.weight: Font.Medium
            text: root.label
        }
    }
}
