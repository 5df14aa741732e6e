pragma ComponentBehavior: Bound

import QtQuick
import Varnelle.CaptureUi
import Varnelle.Ui

// Covers the chosen window and tells which one it is.
FocusScope {
    id: root

    required property WindowSelectionModel model
    required property StartRecordingModel startModel
    // Of the icon about its upright axis, in degrees: it turns towards the user when it comes.
    property real rotationAngle: 0

    readonly property string shownWindow: model.applicationName + "\n" + model.title

    Accessible.name: qsTr("Window to record: %1, %2").arg(model.applicationName).arg(model.title)
    Accessible.role: Accessible.Pane
    focus: true

    Window.onVisibilityChanged: if (Window.visibility !== Window.Hidden) {
        turning.restart();
    }
    Keys.onEnterPressed: if (model.hasWindow) {
        startModel.press();
    }
    Keys.onReturnPressed: if (model.hasWindow) {
        startModel.press();
    }
    onShownWindowChanged: {
        card.arrive();
        turning.restart();
    }

    SpringMotion {
        id: turning

        dampingFraction: 0.6
        from: 70
        property: "rotationAngle"
        response: 0.6
        target: root
        to: 0
    }

    Rectangle {
        anchors.fill: parent
        border.color: Qt.rgba(1, 1, 1, 0.12)
        border.width: 1
        color: Qt.rgba(0.1, 0.15, 0.35, 0.6)
        radius: 12
        visible: root.model.hasWindow
    }

    SourceCard {
        id: card

        anchors.centerIn: parent
        details: root.model.sizeText
        objectName: "card"
        room: Qt.size(root.width - 16, root.height - 16)
        startModel: root.startModel
        subtitle: root.model.title
        title: root.model.applicationName
        visible: root.model.hasWindow

        Item {
            height: 120
            width: 120

            transform: Rotation {
                angle: root.rotationAngle
                axis.x: 0
                axis.y: 1
                axis.z: 0
                origin.x: 60
                origin.y: 60
            }

            PictureItem {
                anchors.fill: parent
                image: root.model.icon
                visible: root.model.hasIcon
            }

            Icon {
                anchors.centerIn: parent
                color: Theme.secondaryText
                name: "macwindow"
                size: 84
                visible: !root.model.hasIcon
            }
        }
    }
}
