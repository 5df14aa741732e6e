import QtQuick
import Varnelle.Editor
import Varnelle.Ui

// The ruler: a press goes to a time, and a drag along it keeps going.
Item {
    id: root

    required property TimelineModel model
    // What assistive programs read of a slider.
    readonly property real value: model.currentSeconds
    readonly property real minimumValue: 0
    readonly property real maximumValue: model.displayDurationSeconds
    readonly property real stepSize: 1

    property bool isFocusedByPointer: false

    function useKey(event: var): void {
        // Without Shift they are the editor's, which knows the frames.
        if (event.key === Qt.Key_Left && event.modifiers === Qt.ShiftModifier)
            root.model.step(-root.stepSize);
        else if (event.key === Qt.Key_Right && event.modifiers === Qt.ShiftModifier)
            root.model.step(root.stepSize);
        else if (event.key === Qt.Key_Home)
            root.model.pressFirstFrame();
        else if (event.key === Qt.Key_End)
            root.model.pressLastFrame();
        else
            return;
        event.accepted = true;
    }

    Accessible.description: qsTr("The arrow keys go by a frame, with Shift by a second.")
    Accessible.focusable: true
    Accessible.name: qsTr("Playhead, %1").arg(model.currentTimeText)
    Accessible.role: Accessible.Slider
    activeFocusOnTab: true

    Accessible.onDecreaseAction: model.step(-stepSize)
    Accessible.onIncreaseAction: model.step(stepSize)
    Keys.onPressed: event => {
        root.isFocusedByPointer = false;
        root.useKey(event);
    }
    onActiveFocusChanged: if (!activeFocus) {
        isFocusedByPointer = false;
    }

    TimelineRuler {
        anchors.fill: parent
        model: root.model
    }

    MouseArea {
        anchors.fill: parent

        onPositionChanged: mouse => root.model.seekInRuler(mouse.x)
        onPressed: mouse => {
            root.isFocusedByPointer = true;
            root.forceActiveFocus(Qt.MouseFocusReason);
            root.model.seekInRuler(mouse.x);
        }
    }

    Rectangle {
        anchors.fill: parent
        anchors.leftMargin: 3
        anchors.rightMargin: 3
        border.color: Theme.focusRing
        border.width: 2
        color: "transparent"
        radius: 4
        visible: root.activeFocus && !root.isFocusedByPointer
    }
}
