pragma ComponentBehavior: Bound

import QtQuick
import Varnelle.Editor
import Varnelle.Ui

// The strip under the editor's preview: tools, ruler, the lanes of clips and zooms, and the playhead over them.
FocusScope {
    id: root

    required property TimelineModel model
    // Left and right of the tools.
    property real horizontalPadding: 24

    Accessible.name: qsTr("Timeline")
    Accessible.role: Accessible.Pane
    implicitHeight: strip.y + strip.height + 4

    TimelineToolbar {
        id: toolbar

        anchors.left: parent.left
        anchors.leftMargin: root.horizontalPadding
        anchors.right: parent.right
        anchors.rightMargin: root.horizontalPadding
        height: 44
        model: root.model
        // What it says about itself reaches over the ruler.
        z: 1
    }

    Rectangle {
        anchors.left: parent.left
        anchors.right: parent.right
        anchors.top: toolbar.bottom
        color: Theme.hairline
        height: 1
    }

    Item {
        id: strip

        readonly property real lanesHeight: zoomPanTrack.y + zoomPanTrack.height

        anchors.left: parent.left
        anchors.right: parent.right
        anchors.top: toolbar.bottom
        anchors.topMargin: 4
        clip: true
        height: scrollBar.y + scrollBar.height

        Binding {
            property: "viewWidth"
            target: root.model
            value: strip.width
        }

        TimelineRulerView {
            id: ruler

            height: 26
            model: root.model
            objectName: "ruler"
            width: parent.width
        }

        TimelinePrimaryTrackView {
            id: primaryTrack

            height: 48
            model: root.model
            objectName: "primaryTrack"
            width: parent.width
            y: ruler.height + 4
        }

        TimelineZoomPanTrackView {
            id: zoomPanTrack

            height: 48
            model: root.model
            objectName: "zoomPanTrack"
            width: parent.width
            y: primaryTrack.y + primaryTrack.height + 8
        }

        TimelinePlayheadView {
            objectName: "ghostPlayhead"
            opacity: 0.4
            totalHeight: strip.lanesHeight
            visible: root.model.hasHoverMark && !root.model.isCutMode
            x: root.model.hoverMarkX - 6.5
        }

        TimelineCutIndicatorView {
            objectName: "cutIndicator"
            trackHeight: primaryTrack.height
            visible: root.model.hasHoverMark && root.model.isCutMode
            x: Math.max(24 - root.model.scrollX, root.model.hoverMarkX - 11)
            y: primaryTrack.y - 1
        }

        TimelinePlayheadView {
            objectName: "playhead"
            totalHeight: strip.lanesHeight
            x: root.model.playheadX - 6.5
        }

        // The lane takes the press, as it takes all others there: an item of its own would end the hovering.
        Rectangle {
            Accessible.name: qsTr("Add Zoom/Pan")
            Accessible.role: Accessible.Button
            border.color: Qt.rgba(1, 1, 1, 0.3)
            border.width: 1
            color: Theme.accent
            height: 24
            objectName: "addButton"
            radius: 12
            visible: root.model.hasAddButton
            width: 24
            x: root.model.addButtonX - 12
            y: zoomPanTrack.y + (zoomPanTrack.height - height) / 2

            Accessible.onPressAction: root.model.pressAdd()

            Icon {
                anchors.centerIn: parent
                color: "white"
                name: "plus"
                size: 13
            }
        }

        TimelineScrollBar {
            id: scrollBar

            anchors.left: parent.left
            anchors.leftMargin: 24
            anchors.right: parent.right
            anchors.rightMargin: 24
            model: root.model
            objectName: "scrollBar"
            y: strip.lanesHeight + 2

            onGrabbed: followMotion.stop()
        }

        TimelineModifierScrollZoomCapture {
            anchors.fill: parent

            onZoomDelta: (delta, x) => root.model.zoomByScroll(delta, x)
        }

        WheelHandler {
            acceptedDevices: PointerDevice.Mouse | PointerDevice.TouchPad
            orientation: Qt.Vertical
            target: null

            onWheel: event => root.scroll(event)
        }

        PinchHandler {
            target: null

            onActiveChanged: if (!active) {
                root.model.endPinch();
            }
            onActiveScaleChanged: if (active) {
                root.model.pinch(activeScale, centroid.position.x);
            }
        }
    }

    SpringMotion {
        id: followMotion

        dampingFraction: 0.85
        property: "scrollX"
        response: 0.32
        target: root.model
    }

    Connections {
        function onScrollRequested(scrollX: real, motion: int): void {
            followMotion.stop();
            if (motion === TimelineModel.Immediate) {
                root.model.scrollX = scrollX;
                return;
            }
            followMotion.to = scrollX;
            followMotion.start();
        }
        function onZoomScaleChanged(): void {
            followMotion.stop();
        }

        target: root.model
    }

    TimelineDeleteKeyCapture {
        activationRequestID: root.model.deleteKeyFocusRequestID
        canDelete: root.model.canDelete

        onDeleteRequested: root.model.pressDelete()
    }

    function scroll(event: var): void {
        const precise = event.pixelDelta.x !== 0 || event.pixelDelta.y !== 0;
        const delta = precise ? event.pixelDelta : event.angleDelta;
        const way = Math.abs(delta.x) > Math.abs(delta.y) ? delta.x : delta.y;
        followMotion.stop();
        root.model.scrollBy(precise ? -way : -way / 2);
    }
}
