pragma ComponentBehavior: Bound

import QtQuick
import QtQuick.Layouts
import Varnelle.CaptureUi
import Varnelle.Ui

// What the program needs before anything else, as rows that follow the desktop's settings.
Rectangle {
    id: root

    required property PermissionsModel model

    color: Theme.window
    focus: true
    implicitHeight: content.implicitHeight + 64
    implicitWidth: 470

    WindowDrag {
        anchors.fill: parent
    }

    ColumnLayout {
        id: content

        anchors.centerIn: parent
        spacing: 0
        width: parent.width - 56

        ProgramIcon {
            Layout.alignment: Qt.AlignHCenter
        }

        Text {
            Layout.alignment: Qt.AlignHCenter
            Layout.topMargin: 18
            color: "#ffffff"
            font.family: Theme.family
            font.pixelSize: 18
            font.weight: Font.Bold
            text: qsTr("Varnelle needs a few permissions")
        }

        Text {
            Layout.fillWidth: true
            Layout.topMargin: 8
            color: Theme.secondaryText
            font.family: Theme.family
            font.pixelSize: 12
            horizontalAlignment: Text.AlignHCenter
            lineHeight: 1.35
            text: qsTr("Click each item below to open System Settings.") + "\n" + qsTr("Microphone & Camera will be asked when you start recording.")
            wrapMode: Text.Wrap
        }

        PermissionRowView {
            Layout.fillWidth: true
            Layout.topMargin: 22
            row: root.model.screenRecording

            onPressed: root.model.pressScreenRecording()
        }

        PermissionRowView {
            Layout.fillWidth: true
            Layout.topMargin: 10
            row: root.model.accessibility

            onPressed: root.model.pressAccessibility()
        }

        Pressable {
            id: continueButton

            Layout.alignment: Qt.AlignHCenter
            Layout.topMargin: 22
            accessibleName: label.text
            enabled: root.model.canContinue
            implicitHeight: 40
            implicitWidth: label.implicitWidth + 48
            ringRadius: 12

            onPressed: root.model.pressContinue()

            Rectangle {
                anchors.fill: parent
                color: continueButton.isDown ? Theme.accentPressed : continueButton.isHovered ? Theme.accentHovered : root.model.canContinue ? Theme.accent : Theme.raised
                radius: 10

                Behavior on color  {
                    ColorAnimation {
                        duration: 200
                        easing.type: Easing.InOutQuad
                    }
                }
            }

            Text {
                id: label

                anchors.centerIn: parent
                color: root.model.canContinue ? "#ffffff" : Qt.rgba(1, 1, 1, 0.35)
                font.family: Theme.family
                font.pixelSize: 14
                font.weight: Font.DemiBold
                text: qsTr("Continue to Varnelle →")
            }
        }
    }
}
