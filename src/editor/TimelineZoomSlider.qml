import QtQuick
import Varnelle.Ui

// A slider along which equal ways are equal factors of zoom.
Item {
    id: root

    required property real value
    required property real minimumValue
    required property real maximumValue
    readonly property real stepSize: 0.25
    readonly property real share: Math.max(0, Math.min(1, (value - minimumValue) / (maximumValue - minimumValue)))

    signal moved(real value)

    function valueAt(x: real): real {
        const way = width - thumb.width;
        const part = Math.max(0, Math.min(1, (x - thumb.width / 2) / way));
        return minimumValue + part * (maximumValue - minimumValue);
    }

    Accessible.focusable: true
    Accessible.name: qsTr("Timeline zoom")
    Accessible.role: Accessible.Slider
    activeFocusOnTab: true
    implicitHeight: 22
    implicitWidth: 112

    Accessible.onDecreaseAction: moved(value - stepSize)
    Accessible.onIncreaseAction: moved(value + stepSize)
    Keys.onDownPressed: moved(value - stepSize)
    Keys.onLeftPressed: moved(value - stepSize)
    Keys.onRightPressed: moved(value + stepSize)
    Keys.onUpPressed: moved(value + stepSize)

    Rectangle {
        id: groove

        anchors.verticalCenter: parent.verticalCenter
        color: Qt.rgba(1, 1, 1, 0.14)
        height: 4
        radius: 2
        width: parent.width
    }

    Rectangle {
        anchors.verticalCenter: parent.verticalCenter
        color: Theme.accentHovered
        height: 4
        radius: 2
        width: thumb.x + thumb.width / 2
    }

    Rectangle {
        id: thumb

        anchors.verticalCenter: parent.verticalCenter
        border.color: Qt.rgba(0, 0, 0, 0.35)
        border.width: 1
        color: area.pressed ? "#d9dbe2" : "white"
        height: 14
        radius: 7
        width: 14
        x: Math.round(root.share * (root.width - width))
    }

    Rectangle {
        anchors.fill: thumb
        anchors.margins: -3
        border.color: Theme.focusRing
        border.width: 2
        color: "transparent"
        radius: 10
        visible: root.activeFocus
    }

    MouseArea {
        id: area

        anchors.fill: parent

        onPositionChanged: mouse => root.moved(root.valueAt(mouse.x))
        onPressed: mouse => root.moved(root.valueAt(mouse.x))
    }
}
