import QtQuick
import Varnelle.CaptureUi

// Covers the chosen display and tells which one it is.
FocusScope {
    id: root

    required property DisplayHighlightModel model
    required property StartRecordingModel startModel

    Accessible.name: qsTr("Display to record: %1").arg(model.title)
    Accessible.role: Accessible.Pane
    focus: true

    Keys.onEnterPressed: startModel.press()
    Keys.onReturnPressed: startModel.press()

    Rectangle {
        anchors.fill: parent
        color: Qt.rgba(0.1, 0.15, 0.35, 0.6)
        radius: 32
    }

    SourceCard {
        anchors.centerIn: parent
        details: root.model.details
        objectName: "card"
        room: Qt.size(root.width - 32, root.height - 32)
        startModel: root.startModel
        title: root.model.title
    }
}
