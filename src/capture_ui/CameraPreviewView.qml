import QtQuick
import Varnelle.CaptureUi
import Varnelle.Ui

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

    WindowDrag {
        anchors.fill: parent
    }
}
