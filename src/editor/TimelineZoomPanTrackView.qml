import QtQuick
import Varnelle.Editor

// Where the automatic camera may act. A plus follows the pointer where there is no clip.
TimelineTrackView {
    id: root

    blocks: model.zoomPanBlocks
    kind: qsTr("Zoom/Pan")
    label: qsTr("Zoom/Pan, %1").arg(model.zoomPanClipCount)
    lane: TimelineModel.ZoomPan

    TimelineZoomPanLane {
        anchors.fill: parent
        model: root.model
    }
}
