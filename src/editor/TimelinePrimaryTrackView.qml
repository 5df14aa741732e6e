import QtQuick
import Varnelle.Editor

// The clips of the movie.
TimelineTrackView {
    id: root

    blocks: model.primaryBlocks
    kind: qsTr("Clip")
    label: qsTr("Clips, %1").arg(model.primaryClipCount)
    lane: TimelineModel.Primary

    TimelineClipLane {
        anchors.fill: parent
        model: root.model
    }
}
