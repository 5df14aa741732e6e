import QtQuick
import QtQuick.Layouts
import Varnelle.CaptureUi
import Varnelle.Ui

// Starts the recording. It isn't in the chain of Tab: the overlay around it has the keyboard and passes Enter on.
Pressable {
    id: root

    required property StartRecordingModel model

    readonly property real cornerRadius: 14

    accessibleDescription: model.isPreparing ? qsTr("In progress") : ""
    accessibleName: qsTr("Start recording")
    activeFocusOnTab: false
    implicitHeight: content.implicitHeight + 32
    implicitWidth: content.implicitWidth + 64
    opacity: enabled ? 1 : 0.5
    ringRadius: cornerRadius + 2
    scale: isDown ? 0.97 : 1

    Behavior on scale  {
        SpringMotion {
        }
    }

    onPressed: model.press()

    HoverHandler {
        cursorShape: Qt.PointingHandCursor
    }

    Shadow {
        id: shadow

        anchors.fill: parent
        anchors.margins: -extent
        blur: 5
        cornerRadius: root.cornerRadius
        opacity: 0.3
    }

    Rectangle {
        anchors.fill: parent
        color: root.isDown ? Theme.accentPressed : root.isHovered ? Theme.accentHovered : Theme.accent
        radius: root.cornerRadius

        Behavior on color  {
            ColorAnimation {
                duration: Theme.quick
            }
        }
    }

    RowLayout {
        id: content

        anchors.centerIn: parent
        spacing: 12

        Icon {
            color: "white"
            name: "record.circle"
            size: 18
        }

        Text {
            color: "white"
            font.family: Theme.family
            font.pixelSize: 16
            font.weight: Font.DemiBold
            text: qsTr("Start recording")
        }

        ProgressRing {
            Layout.leftMargin: 4
            color: "white"
            objectName: "progress"
            visible: root.model.isPreparing
        }
    }
}
