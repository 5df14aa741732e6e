import QtQuick
import Varnelle.CaptureUi
import Varnelle.Ui

// The capsule beside a running recording: its time, and a press anywhere ends it.
Pressable {
    id: root

    required property RecordingIndicatorModel model

    readonly property real outerPadding: 0
    readonly property real outerRadius: 20
    readonly property bool isReady: model.isRecording
    readonly property color stateColor: isReady ? Theme.recording : Theme.secondaryText

    accessibleDescription: model.timerText
    accessibleName: model.stateText
    implicitHeight: 40
    implicitWidth: 240
    ringRadius: 22

    onPressed: model.tap()

    Rectangle {
        anchors.fill: parent
        color: Theme.floating
        radius: height / 2
    }

    Rectangle {
        anchors.fill: parent
        border.color: root.isHovered ? Qt.rgba(1, 0.23, 0.19, 0.4) : Qt.rgba(1, 1, 1, 0.1)
        border.pixelAligned: false
        border.width: 0.5
        color: root.isHovered ? Qt.rgba(1, 0.23, 0.19, 0.12) : Qt.rgba(1, 1, 1, 0.1)
        radius: height / 2

        Behavior on border.color  {
            ColorAnimation {
                duration: Theme.normal
            }
        }
        Behavior on color  {
            ColorAnimation {
                duration: Theme.normal
            }
        }
    }

    Row {
        anchors.left: parent.left
        anchors.leftMargin: 14
        anchors.verticalCenter: parent.verticalCenter
        spacing: 9

        Rectangle {
            anchors.verticalCenter: parent.verticalCenter
            color: root.isHovered ? Qt.rgba(1, 0.23, 0.19, 0.15) : Qt.rgba(1, 1, 1, 0.08)
            height: 26
            radius: 13
            width: 26

            Behavior on color  {
                ColorAnimation {
                    duration: Theme.normal
                }
            }

            Rectangle {
                anchors.centerIn: parent
                color: root.stateColor
                height: 10
                radius: root.isHovered && root.isReady ? 2.5 : 5
                width: 10

                Behavior on color  {
                    ColorAnimation {
                        duration: Theme.normal
                    }
                }
                Behavior on radius  {
                    NumberAnimation {
                        duration: Theme.normal
                    }
                }
            }
        }

        TimerText {
            anchors.verticalCenter: parent.verticalCenter
            text: root.model.timerText
        }
    }

    Text {
        anchors.right: parent.right
        anchors.rightMargin: 14
        anchors.verticalCenter: parent.verticalCenter
        color: Theme.text
        font.family: Theme.family
        font.pixelSize: Theme.body
        font.weight: Font.Medium
        text: root.model.stateText
    }
}
