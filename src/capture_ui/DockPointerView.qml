pragma ComponentBehavior: Bound

import QtQuick
import Varnelle.Ui

// Shows a new user where the dock bar is: a card that floats above it, with arrows.
Item {
    id: root

    // The bar lies in the lower part of this view's window; its arrows end above it.
    readonly property real roomForBar: 66
    readonly property real reach: 30

    property real cardOffset: -18
    property real pointerOffset: -12
    property real haloScale: 0.7
    property real haloOpacity: 0.55
    property real glowStrength: 0

    Accessible.description: qsTr("Choose sources, and start recording here")
    Accessible.name: qsTr("Varnelle Dock")
    Accessible.role: Accessible.StaticText
    implicitHeight: content.implicitHeight + 2 * reach + roomForBar
    implicitWidth: content.implicitWidth + 2 * reach

    NumberAnimation {
        duration: 1100
        easing.type: Easing.OutQuad
        from: 0.55
        loops: Animation.Infinite
        property: "haloOpacity"
        running: true
        target: root
        to: 0
    }
    NumberAnimation {
        duration: 1100
        easing.type: Easing.OutQuad
        from: 0.7
        loops: Animation.Infinite
        property: "haloScale"
        running: true
        target: root
        to: 1.5
    }
    Swing {
        ends: [-18, 0]
        property: "cardOffset"
        time: 1200
    }
    Swing {
        ends: [0, 1]
        property: "glowStrength"
        time: 750
    }
    Swing {
        ends: [-12, 14]
        property: "pointerOffset"
        time: 1200
    }

    Column {
        id: content

        anchors.horizontalCenter: parent.horizontalCenter
        opacity: 0
        scale: 0.92
        spacing: 14
        y: root.reach

        SpringMotion {
            dampingFraction: 0.78
            properties: "opacity, scale"
            response: 0.35
            running: true
            target: content
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
        required property string property
        required property int time

        loops: Animation.Infinite
        running: true

        NumberAnimation {
            duration: swing.time
            easing.type: Easing.InOutSine
            from: swing.ends[0]
            property: swing.property
            target: root
            to: swing.ends[1]
        }

        NumberAnimation {
            duration: swing.time
            easing.type: Easing.InOutSine
            from: swing.ends[1]
            property: swing.property
            target: root
            to: swing.ends[0]
        }
    }
}
