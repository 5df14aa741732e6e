pragma ComponentBehavior: Bound

import QtQuick
import Varnelle.CaptureUi

// The camera's picture, floating; dragged anywhere by itself.
Item {
    id: root

    property alias cornerRadiusRatio: preview.cornerRadiusRatio
    property alias isMirrored: preview.isMirrored

    Accessible.name: qsTr("Camera preview")
    Accessible.role: Accessible.Graphic

    CameraPreview {
        id: preview

        anchors.fill: parent
    }

    DragHandler {
        target: null

        onActiveChanged: if (active) {
            root.Window.window.startSystemMove();
        }
    }
}
