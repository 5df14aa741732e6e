import QtQuick
import Varnelle.Editor
import Varnelle.Ui

// What the movie shows at the playhead, with the bubble's handle over it.
Rectangle {
    id: root

    required property EditorModel model
    readonly property EditorPlaybackController playback: model.playback
    readonly property string failure: playback !== null ? playback.loadErrorText : ""

    border.color: Theme.hairline
    border.width: 1
    color: Theme.canvas
    radius: 10

    Item {
        id: room

        anchors.fill: parent
        anchors.margins: 12
    }

    PreviewItem {
        id: preview

        readonly property real aspectRatio: root.playback !== null ? root.playback.previewAspectRatio : 16 / 9

        Accessible.name: qsTr("Preview")
        Accessible.role: Accessible.Graphic
        anchors.centerIn: room
        controller: root.playback
        height: Math.round(Math.min(room.height, room.width / aspectRatio))
        objectName: "preview"
        visible: root.failure === "" && root.model.hasProject
        width: Math.round(Math.min(room.width, room.height * aspectRatio))
    }

    EditorCameraOverlayControl {
        anchors.fill: preview
        model: root.model.cameraOverlay
        visible: preview.visible && model.isShown
    }

    ProgressRing {
        id: ring

        property bool isLate: false

        anchors.centerIn: parent
        implicitHeight: 32
        implicitWidth: 32
        lineWidth: 3
        visible: isLate && root.playback !== null && root.playback.isLoading

        Timer {
            interval: 500
            running: root.playback !== null && root.playback.isLoading

            onRunningChanged: ring.isLate = false
            onTriggered: ring.isLate = true
        }
    }

    Column {
        anchors.centerIn: parent
        spacing: 12
        visible: root.failure !== "" || !root.model.hasProject
        width: Math.min(parent.width - 48, 420)

        Icon {
            anchors.horizontalCenter: parent.horizontalCenter
            color: Theme.secondaryText
            name: root.model.hasProject ? "exclamationmark.triangle.fill" : "film.stack"
            size: 40
        }

        Text {
            Accessible.name: text
            Accessible.role: Accessible.StaticText
            color: Theme.text
            font.family: Theme.family
            font.pixelSize: Theme.title
            font.weight: Font.DemiBold
            horizontalAlignment: Text.AlignHCenter
            text: root.model.hasProject ? qsTr("Preview Unavailable") : qsTr("No Recording Loaded")
            width: parent.width
        }

        Text {
            Accessible.name: text
            Accessible.role: Accessible.AlertMessage
            color: Theme.secondaryText
            font.family: Theme.family
            font.pixelSize: Theme.body
            horizontalAlignment: Text.AlignHCenter
            objectName: "failure"
            text: root.failure
            textFormat: Text.PlainText
            visible: text !== ""
            width: parent.width
            wrapMode: Text.Wrap
        }
    }
}
