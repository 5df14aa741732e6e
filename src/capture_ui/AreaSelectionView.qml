pragma ComponentBehavior: Bound

import QtQuick
import Varnelle.CaptureUi
import Varnelle.Ui

// Covers a screen, to draw, move and resize the rectangle to record. Arrow keys move it, with Shift its lower right
// corner; with Control in larger steps.
FocusScope {
    id: root

    required property AreaSelectionModel model
    required property StartRecordingModel startModel

    function nudge(event: var): void {
        const step = event.modifiers & Qt.ControlModifier ? 10 : 1;
        const dx = event.key === Qt.Key_Left ? -step : event.key === Qt.Key_Right ? step : 0;
        const dy = event.key === Qt.Key_Up ? -step : event.key === Qt.Key_Down ? step : 0;
        if (dx === 0 && dy === 0)
            return;
        event.accepted = true;
        if (event.modifiers & Qt.ShiftModifier)
            root.model.nudgeCorner(dx, dy);
        else
            root.model.nudge(dx, dy);
    }

    Accessible.description: qsTr("Drag to choose what is recorded. The arrow keys move it, with Shift they resize it.")
    Accessible.name: qsTr("Area to record, %1").arg(model.sizeText)
    Accessible.role: Accessible.Pane
    focus: true

    Keys.onEnterPressed: if (startButton.enabled) {
        root.startModel.press();
    }
    Keys.onPressed: event => root.nudge(event)
    Keys.onReturnPressed: if (startButton.enabled) {
        root.startModel.press();
    }

    // Where a window is fully transparent, some desktops pass the pointer through it.
    Rectangle {
        anchors.fill: parent
        color: Qt.rgba(0, 0, 0, 0.01)
    }

    MouseArea {
        acceptedButtons: Qt.LeftButton
        anchors.fill: parent
        cursorShape: root.model.cursorShape
        hoverEnabled: true

        onCanceled: root.model.release(Qt.point(mouseX, mouseY))
        onPositionChanged: mouse => {
            const place = Qt.point(mouse.x, mouse.y);
            if (pressed)
                root.model.drag(place);
            else
                root.model.hover(place);
        }
        onPressed: mouse => root.model.press(Qt.point(mouse.x, mouse.y))
        onReleased: mouse => root.model.release(Qt.point(mouse.x, mouse.y))
    }

    Item {
        id: selection

        height: root.model.overlayRect.height
        objectName: "selection"
        opacity: root.model.overlayOpacity
        visible: root.model.hasOverlay
        width: root.model.overlayRect.width
        x: root.model.overlayRect.x
        y: root.model.overlayRect.y

        // The white edge alone would be lost on a bright desktop.
        Rectangle {
            anchors.fill: parent
            anchors.margins: -1
            border.color: Qt.rgba(0, 0, 0, 0.22)
            border.width: 1
            color: "transparent"
        }

        Rectangle {
            anchors.fill: parent
            border.color: Qt.rgba(1, 1, 1, 0.12)
            border.width: 1
            color: Qt.rgba(0.35, 0.3, 0.95, 0.18)
        }

        Repeater {
            model: [[0, 0], [0.5, 0], [1, 0], [1, 0.5], [1, 1], [0.5, 1], [0, 1], [0, 0.5]]

            AreaSelectionHandle {
                required property var modelData

                x: modelData[0] * selection.width - width / 2
                y: modelData[1] * selection.height - height / 2
            }
        }

        Rectangle {
            anchors.bottom: parent.bottom
            anchors.bottomMargin: 14
            anchors.horizontalCenter: parent.horizontalCenter
            color: Theme.floating
            height: 24
            radius: 12
            // Beside the button there has to be room for it.
            visible: selection.height > startButton.height + 2 * (height + 20) && selection.width > width + 16
            width: sizeLabel.implicitWidth + 20

            TimerText {
                id: sizeLabel

                anchors.centerIn: parent
                font.pixelSize: 12
                text: root.model.sizeText
            }
        }
    }

    StartRecordingButton {
        id: startButton

        anchors.horizontalCenter: selection.horizontalCenter
        anchors.verticalCenter: selection.verticalCenter
        enabled: root.model.canStart
        model: root.startModel
        objectName: "startButton"
        visible: root.model.hasOverlay
    }
}
