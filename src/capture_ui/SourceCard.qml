import QtQuick
import QtQuick.Layouts
import Varnelle.CaptureUi
import Varnelle.Ui

// The card in the middle of an overlay. It comes in growing and rising, and shrinks to fit into a small window.
Item {
    id: root

    required property StartRecordingModel startModel
    required property string title
    required property string details
    property string subtitle: ""
    // How far it has come in, from 0 to 1 and for a moment beyond.
    property real arrival: 1
    // The room that it has to fit into.
    property size room: Qt.size(Infinity, Infinity)

    default property alias header: header.data

    readonly property real fit: Math.min(1, room.width / implicitWidth, room.height / implicitHeight)

    function arrive(): void {
        arriving.restart();
    }

    implicitHeight: column.implicitHeight + 56
    implicitWidth: Math.max(300, column.implicitWidth + 64)
    opacity: Math.min(1, 2 * arrival)
    scale: fit * Math.max(0.02, arrival)

    transform: Translate {
        y: 48 * (1 - root.arrival)
    }

    // Its window is made long before it is shown.
    Window.onVisibilityChanged: if (Window.visibility !== Window.Hidden) {
        arrive();
    }

    SpringMotion {
        id: arriving

        dampingFraction: 0.8
        from: 0
        property: "arrival"
        response: 0.4
        target: root
        to: 1
    }

    Shadow {
        anchors.fill: parent
        anchors.margins: -extent
        blur: 14
        cornerRadius: plate.radius
        opacity: 0.35
    }

    Rectangle {
        id: plate

        anchors.fill: parent
        border.color: Qt.rgba(1, 1, 1, 0.14)
        border.width: 1
        color: Theme.floating
        radius: 24
    }

    ColumnLayout {
        id: column

        anchors.centerIn: parent
        spacing: 4

        Item {
            id: header

            Layout.alignment: Qt.AlignHCenter
            Layout.bottomMargin: visible ? 10 : 0
            implicitHeight: childrenRect.height
            implicitWidth: childrenRect.width
            visible: children.length > 0
        }

        CardText {
            font.pixelSize: Theme.headline
            font.weight: Font.Bold
            text: root.title
        }

        CardText {
            color: Qt.rgba(1, 1, 1, 0.85)
            font.pixelSize: Theme.label
            font.weight: Font.Medium
            text: root.subtitle
            visible: text !== ""
        }

        CardText {
            color: Theme.secondaryText
            font.pixelSize: Theme.label
            text: root.details
        }

        StartRecordingButton {
            Layout.alignment: Qt.AlignHCenter
            Layout.topMargin: 20
            model: root.startModel
            objectName: "startButton"
        }
    }

    component CardText: Text {
        Layout.alignment: Qt.AlignHCenter
        Layout.maximumWidth: 420
        color: Theme.text
        elide: Text.ElideMiddle
        font.family: Theme.family
        horizontalAlignment: Text.AlignHCenter
        textFormat: Text.PlainText
    }
}
