import QtQuick
import Varnelle.Ui

// Shows where in a flickable one is, at its right edge.
Rectangle {
    id: root

    required property Flickable flickable

    anchors.right: flickable.right
    anchors.rightMargin: 3
    color: Qt.rgba(1, 1, 1, 0.25)
    height: Math.max(24, flickable.visibleArea.heightRatio * flickable.height)
    opacity: flickable.moving || flickable.contentY > 0 ? 1 : 0.5
    radius: 2
    visible: flickable.interactive && flickable.visible
    width: 4
    y: flickable.y + flickable.visibleArea.yPosition * flickable.height

    Behavior on opacity  {
        NumberAnimation {
            duration: Theme.normal
        }
    }
}
