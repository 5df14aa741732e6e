pragma ComponentBehavior: Bound

import QtQuick
import Varnelle.Ui

// Shows a new user where the dock bar is: a card that floats above it, with arrows.
Item {
    id: root

    // The bar lies in the lower part of this view's window; its arrows end above it.
    readonly property real roomForBar: 66
    readonly property real reach: 30

    property real cardOffset
    property real pointerOffset
    property real haloScale
    property real haloOpacity
    property real glowStrength

    Accessible.description: qsTr("Choose sources, and start recording here")
    Accessible.name: qsTr("Varnelle Dock")
    Accessible.role: Accessible.StaticText
    implicitHeight: content.implicitHeight + 2 * reach + roomForBar
    implicitWidth: content.implicitWidth + 2 * reach

    NumberAnimation on haloOpacity  {
        duration: 1100
        easing.type: Easing.OutQuad
        from: 0.55
        loops: Animation.Infinite
        to: 0
    }
    NumberAnimation on haloScale  {
        duration: 1100
        easing.type: Easing.OutQuad
        from: 0.7
        loops: Animation.Infinite
        to: 1.5
    }
    Swing on cardOffset  {
        ends: [-18, 0]
        time: 1200
    }
    Swing on glowStrength  {
        ends: [0, 1]
        time: 750
    }
    Swing on pointerOffset  {
        ends: [-12, 14]
        time: 1200
    }

    Column {
        id: content

        anchors.horizontalCenter: parent.horizontalCenter
        spacing: 14
        y: root.reach

        SpringMotion on opacity  {
            from: 0
            dampingFraction: 0.78
            response: 0.35
            to: 1
        }
        SpringMotion on scale  {
            from: 0.92
            dampingFraction: 0.78
            response: 0.35
            to: 1
        }

        DockPointerCard {
            glowStrength: root.glowStrength

            transform: Translate {
                y: root.cardOffset
            }
        }

        Item {
            anchors.horizontalCenter: parent.horizontalCenter
            implicitHeight: arrows.implicitHeight
            implicitWidth: arrows.implicitWidth

            transform: Translate {
                y: root.pointerOffset
            }

            Rectangle {
                anchors.centerIn: arrows
                border.color: Theme.focusRing
                border.width: 3
                color: "transparent"
                height: arrows.implicitHeight
                opacity: root.haloOpacity
                radius: width / 2
                scale: root.haloScale
                width: arrows.implicitWidth
            }

            DockPointerArrows {
                id: arrows
            }
        }
    }

    component Swing: SequentialAnimation {
        id: swing

        required property var ends
        required property int time

        loops: Animation.Infinite

        NumberAnimation {
            duration: swing.time
            easing.type: Easing.InOutSine
            from: swing.ends[0]
            to: swing.ends[1]
        }

        NumberAnimation {
            duration: swing.time
            easing.type: Easing.InOutSine
            from: swing.ends[1]
            to: swing.ends[0]
        }
    }
}
