import QtQuick
import Varnelle.Editor

// The line at a time, with a head to take hold of. Its middle is the place.
Item {
    id: root

    property color color: "white"
    required property real totalHeight
    // Between device pixels the line would be two of them wide and grey.
    readonly property real snapping: Math.round(x * Screen.devicePixelRatio) / Screen.devicePixelRatio - x

    Accessible.ignored: true
    height: totalHeight
    width: 13

    Item {
        height: root.totalHeight
        width: root.width
        x: root.snapping

        Rectangle {
            color: Qt.rgba(0, 0, 0, 0.35)
            height: root.totalHeight - y
            width: 3
            x: 5
            y: 14
        }

        Rectangle {
            color: root.color
            height: root.totalHeight - y
            width: 1
            x: 6
            y: 14
        }

        PlayheadBalloonShape {
            color: root.color
            height: 17
            width: parent.width
        }
    }
}
