import QtQuick
import QtQuick.Layouts
import Varnelle.Ui

// Stands in the main window while a recording runs.
Item {
    id: root

    required property string time

    signal stop

    ColumnLayout {
        anchors.centerIn: parent
        spacing: 14

        Icon {
            Layout.alignment: Qt.AlignHCenter
            color: Theme.recording
            name: "stop.circle.fill"
            size: 64
        }

        Text {
            Layout.alignment: Qt.AlignHCenter
            color: Theme.text
            font.family: Theme.family
            font.pixelSize: Theme.headline
            font.weight: Font.DemiBold
            text: qsTr("Recording")
        }

        TimerText {
            Layout.alignment: Qt.AlignHCenter
            color: Theme.secondaryText
            font.pixelSize: Theme.title
            text: root.time
        }

        AppButton {
            Layout.alignment: Qt.AlignHCenter
            Layout.topMargin: 6
            iconName: "stop.circle.fill"
            isDestructive: true
            text: qsTr("Stop Recording")

            onPressed: root.stop()
        }
    }
}
