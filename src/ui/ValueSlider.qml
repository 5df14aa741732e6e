import QtQuick
import Varnelle.Ui

// A slider. `moved` comes with every step of a drag or of a held key, `released` once at its end.
Item {
    id: root

    required property real value
    required property real minimumValue
    required property real maximumValue
    required property string accessibleName
    property string accessibleDescription: ""
    property real stepSize: (maximumValue - minimumValue) / 50
    readonly property real share: Math.max(0, Math.min(1, (value - minimumValue) / (maximumValue - minimumValue)))
    property bool isStepping: false

    signal moved(real value)
    signal released

    function valueAt(x: real): real {
        const way = width - thumb.width;
        const part = Math.max(0, Math.min(1, (x - thumb.width / 2) / way));
        return minimumValue + part * (maximumValue - minimumValue);
    }

    function step(by: real): void {
        isStepping = true;
        moved(Math.max(minimumValue, Math.min(maximumValue, value + by)));
    }

    function endSteps(): void {
        if (!isStepping)
            return;
        isStepping = false;
        released();
    }

    Accessible.description: accessibleDescription
    Accessible.focusable: true
    Accessible.name: accessibleName
    Accessible.role: Accessible.Slider
    activeFocusOnTab: enabled
    implicitHeight: 22
    implicitWidth: 112
    opacity: enabled ? 1 : 0.4

    Accessible.onDecreaseAction: {
        step(-stepSize);
        endSteps();
    }
    Accessible.onIncreaseAction: {
        step(stepSize);
        endSteps();
    }
    Keys.onPressed: event => {
        event.accepted = true;
        if (event.key === Qt.Key_Left || event.key === Qt.Key_Down)
            root.step(-root.stepSize);
        else if (event.key === Qt.Key_Right || event.key === Qt.Key_Up)
            root.step(root.stepSize);
        else if (event.key === Qt.Key_Home)
            root.step(root.minimumValue - root.value);
        else if (event.key === Qt.Key_End)
            root.step(root.maximumValue - root.value);
        else
            event.accepted = false;
    }
    Keys.onReleased: event => {
        if (!event.isAutoRepeat)
            root.endSteps();
    }
    onActiveFocusChanged: endSteps()

    Rectangle {
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
        height: 16
        radius: 8
        width: 16
        x: Math.round(root.share * (root.width - width))
    }

    Rectangle {
        anchors.fill: thumb
        anchors.margins: -3
        border.color: Theme.focusRing
        border.width: 2
        color: "transparent"
        radius: 11
        visible: root.activeFocus
    }

    MouseArea {
        id: area

        anchors.fill: parent
        preventStealing: true

        onCanceled: root.released()
        onPositionChanged: mouse => root.moved(root.valueAt(mouse.x))
        onPressed: mouse => root.moved(root.valueAt(mouse.x))
        onReleased: root.released()
    }
}
