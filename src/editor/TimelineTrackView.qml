pragma ComponentBehavior: Bound

import QtQuick
import Varnelle.Editor
import Varnelle.Ui

// A lane of clips: how it is worked in with pointer and keys. What it looks like is put into it.
FocusScope {
    id: root

    required property TimelineModel model
    required property int lane
    required property TimelineBlockListModel blocks
    required property string label
    // One clip of it.
    required property string kind
    default property alias drawing: drawing.data
    // Who clicks sees what has the keyboard.
    property bool isFocusedByPointer: false

    function useKey(event: var): void {
        const clip = event.key === Qt.Key_Up ? -1 : event.key === Qt.Key_Down ? 1 : 0;
        const step = event.key === Qt.Key_Left ? -1 : event.key === Qt.Key_Right ? 1 : 0;
        if (clip !== 0 && event.modifiers === Qt.NoModifier)
            root.model.selectNeighbour(root.lane, clip);
        else if (step !== 0 && event.modifiers === Qt.ShiftModifier && root.lane === TimelineModel.ZoomPan)
            root.model.nudgeZoomPanClip(0.1 * step);
        else if (event.key === Qt.Key_Return || event.key === Qt.Key_Enter)
            root.model.useAtPlayhead(root.lane);
        else
            return;
        event.accepted = true;
    }

    Accessible.focusable: true
    Accessible.name: label
    Accessible.role: Accessible.List
    activeFocusOnTab: true

    Keys.onPressed: event => {
        root.isFocusedByPointer = false;
        root.useKey(event);
    }
    onActiveFocusChanged: if (!activeFocus) {
        isFocusedByPointer = false;
    }

    Item {
        id: drawing

        anchors.fill: parent
    }

    Item {
        height: parent.height
        x: 24 - root.model.scrollX

        Repeater {
            model: root.blocks

            TimelineClipBlock {
                kind: root.kind
                lane: root.lane
                timeline: root.model
            }
        }
    }

    MouseArea {
        acceptedButtons: Qt.LeftButton
        anchors.fill: parent
        cursorShape: root.model.cursorShape
        hoverEnabled: true

        onCanceled: {
            root.model.cancelDrag();
            root.model.endHover(root.lane);
        }
        onEntered: if (!pressed) {
            root.model.hover(root.lane, mouseX);
        }
        onExited: if (!pressed) {
            root.model.endHover(root.lane);
        }
        onPositionChanged: mouse => {
            if (pressed)
                root.model.drag(mouse.x);
            else
                root.model.hover(root.lane, mouse.x);
        }
        onPressed: mouse => {
            root.isFocusedByPointer = true;
            root.forceActiveFocus(Qt.MouseFocusReason);
            root.model.press(root.lane, Qt.point(mouse.x, mouse.y));
        }
        onReleased: mouse => {
            root.model.release(mouse.x);
            if (!containsMouse)
                root.model.endHover(root.lane);
        }
    }

    Rectangle {
        anchors.fill: parent
        anchors.bottomMargin: -2
        anchors.leftMargin: 3
        anchors.rightMargin: 3
        anchors.topMargin: -2
        border.color: Theme.focusRing
        border.width: 2
        color: "transparent"
        radius: 7
        visible: root.activeFocus && !root.isFocusedByPointer
    }
}
