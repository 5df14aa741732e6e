pragma ComponentBehavior: Bound

import QtQuick
import QtQuick.Layouts
import Varnelle.Editor
import Varnelle.Ui

// What plays, cuts and zooms the timeline.
RowLayout {
    id: root

    required property TimelineModel model

    Accessible.name: qsTr("Timeline tools")
    Accessible.role: Accessible.ToolBar
    spacing: 2

    PopupMenu {
        id: rateMenu

        model: root.model.rateMenu
    }

    TimelineToolButton {
        iconName: "backward.end.fill"
        label: qsTr("First Frame")
        objectName: "firstFrameButton"

        onPressed: root.model.pressFirstFrame()
    }

    TimelineToolButton {
        iconName: root.model.isPlaying ? "pause.fill" : "play.fill"
        iconSize: 18
        implicitWidth: 38
        label: root.model.isPlaying ? qsTr("Pause") : qsTr("Play")
        objectName: "playButton"

        onPressed: root.model.pressPlay()
    }

    TimelineToolButton {
        iconName: "forward.end.fill"
        label: qsTr("Last Frame")
        objectName: "lastFrameButton"

        onPressed: root.model.pressLastFrame()
    }

    TimerText {
        Layout.leftMargin: 12
        objectName: "currentTime"
        text: root.model.currentTimeText
    }

    Text {
        Accessible.ignored: true
        Layout.leftMargin: 6
        Layout.rightMargin: 6
        color: Theme.disabledText
        font.family: Theme.family
        font.pixelSize: Theme.body
        text: "/"
    }

    TimerText {
        Layout.rightMargin: 14
        color: Theme.secondaryText
        font.weight: Font.Medium
        objectName: "duration"
        text: root.model.durationText
    }

    Pressable {
        id: rateButton
        accessibleName: qsTr("Playback rate, %1").arg(root.model.rateText)
        accessibleRole: Accessible.ButtonMenu

        implicitHeight: 30
        implicitWidth: 62
        objectName: "rateButton"
        ringRadius: 9

        onPressed: rateMenu.open(rateButton)

        Rectangle {
            anchors.fill: parent
            border.color: Theme.hairline
            border.width: 1
            color: rateButton.isDown ? Theme.pressed : rateButton.isHovered ? Theme.hovered : Theme.raised
            radius: 7
        }

        Text {
            anchors.left: parent.left
            anchors.leftMargin: 11
            anchors.verticalCenter: parent.verticalCenter
            color: Theme.text
            font.family: Theme.family
            font.pixelSize: 12
            font.weight: Font.DemiBold
            text: root.model.rateText
        }

        Icon {
            anchors.right: parent.right
            anchors.rightMargin: 9
            anchors.verticalCenter: parent.verticalCenter
            color: Theme.secondaryText
            name: "chevron.down"
            size: 11
        }
    }

    Rectangle {
        Layout.leftMargin: 12
        Layout.rightMargin: 10
        color: Theme.hairline
        implicitHeight: 18
        implicitWidth: 1
    }

    TimelineToolButton {
        accessibleRole: Accessible.CheckBox
        iconName: "scissors"
        isCheckable: true
        isChecked: root.model.isCutMode
        label: qsTr("Cut")
        objectName: "cutButton"

        onPressed: root.model.pressCut()
    }

    TimelineToolButton {
        enabled: root.model.canDelete
        iconName: "trash"
        label: qsTr("Delete")
        objectName: "deleteButton"
        successor: zoomIn

        onPressed: root.model.pressDelete()
    }

    Item {
        Layout.fillWidth: true
    }

    TimelineToolButton {
        id: zoomOut

        enabled: root.model.zoomScale > 1
        iconName: "minus.magnifyingglass"
        label: qsTr("Zoom Out")
        objectName: "zoomOutButton"
        successor: zoomIn

        onPressed: root.model.zoomScale = root.model.zoomScale / 1.25
    }

    ValueSlider {
        Layout.leftMargin: 4
        Layout.rightMargin: 4
        maximumValue: root.model.maximumZoom
        minimumValue: 1
        accessibleName: qsTr("Timeline zoom")
        objectName: "zoomSlider"
        stepSize: 0.25
        value: root.model.zoomScale

        onMoved: value => root.model.zoomScale = value
    }

    TimelineToolButton {
        id: zoomIn

        enabled: root.model.zoomScale < root.model.maximumZoom
        iconName: "plus.magnifyingglass"
        label: qsTr("Zoom In")
        objectName: "zoomInButton"
        successor: zoomOut

        onPressed: root.model.zoomScale = root.model.zoomScale * 1.25
    }

    TimerText {
        Layout.alignment: Qt.AlignRight | Qt.AlignVCenter
        Layout.leftMargin: 4
        Layout.minimumWidth: 48
        color: Theme.secondaryText
        font.pixelSize: 12
        font.weight: Font.Medium
        objectName: "zoomText"
        text: root.model.zoomText
    }
}
