import QtQuick
import Varnelle.Editor
import Varnelle.Ui

// The camera bubble's outline over the preview. Dragging it moves the bubble, a press opens the camera's tab.
Item {
    id: root

    required property CameraOverlayModel model

    Binding {
        property: "previewSize"
        target: root.model
        value: Qt.size(root.width, root.height)
    }

    Item {
        id: bubble

        readonly property rect place: root.model.bubble

        function nudge(event: var): void {
            const step = event.modifiers & Qt.ShiftModifier ? 10 : 1;
            const x = event.key === Qt.Key_Left ? -step : event.key === Qt.Key_Right ? step : 0;
            const y = event.key === Qt.Key_Up ? -step : event.key === Qt.Key_Down ? step : 0;
            if ((x === 0 && y === 0) || event.modifiers & ~(Qt.ShiftModifier | Qt.KeypadModifier))
                return;
            event.accepted = true;
            root.model.nudge(x, y);
        }

        Accessible.focusable: true
        Accessible.name: qsTr("Camera bubble")
        Accessible.role: Accessible.Button
        activeFocusOnTab: root.visible
        height: place.height
        objectName: "cameraBubble"
        width: place.width
        x: place.x
        y: place.y

        Accessible.onPressAction: root.model.tap()
        Keys.onEnterPressed: root.model.tap()
        Keys.onPressed: event => nudge(event)
        Keys.onReturnPressed: root.model.tap()
        Keys.onSpacePressed: root.model.tap()

        HoverHandler {
            id: hover

            cursorShape: root.model.isDragging ? Qt.ClosedHandCursor : Qt.OpenHandCursor
        }

        TapHandler {
            gesturePolicy: TapHandler.DragThreshold

            onTapped: root.model.tap()
        }

        DragHandler {
            id: drag

            dragThreshold: 10
            target: null

            onActiveChanged: if (!active) {
                root.model.endDrag(activeTranslation.x, activeTranslation.y);
            }
            onActiveTranslationChanged: if (active) {
                root.model.drag(activeTranslation.x, activeTranslation.y);
            }
        }

        Rectangle {
            anchors.fill: parent
            anchors.margins: -1
            border.color: root.model.isDragging || bubble.activeFocus ? Theme.focusRing : "white"
            border.width: 2
            color: "transparent"
            opacity: root.model.isDragging || bubble.activeFocus ? 1 : hover.hovered ? 0.9 : 0
            radius: root.model.cornerRadius + 1

            Behavior on opacity  {
                NumberAnimation {
                    duration: Theme.quick
                }
            }
        }
    }
}
