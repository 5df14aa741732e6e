import QtQuick
import QtQuick.Layouts
import Varnelle.Shell
import Varnelle.Ui

// The open project: its name and its first frame.
ColumnLayout {
    id: root

    required property MainViewModel model

    spacing: 0

    RowLayout {
        Layout.margins: Theme.margin
        spacing: Theme.gap

        Text {
            Layout.fillWidth: true
            color: Theme.text
            elide: Text.ElideMiddle
            font.family: Theme.family
            font.pixelSize: Theme.title
            font.weight: Font.DemiBold
            text: root.model.projectName
            textFormat: Text.PlainText
        }

        AppButton {
            iconName: "record.circle"
            text: qsTr("New Recording")

            onPressed: root.model.newRecording()
        }

        AppButton {
            iconName: "square.and.arrow.up"
            isProminent: true
            text: qsTr("Export…")

            onPressed: root.model.showExportView()
        }
    }

    Rectangle {
        Layout.fillHeight: true
        Layout.fillWidth: true
        color: Theme.canvas

        PictureItem {
            Accessible.name: qsTr("The first frame of %1").arg(root.model.projectName)
            Accessible.role: Accessible.Graphic
            anchors.fill: parent
            anchors.margins: Theme.margin
            image: root.model.poster
        }

        Text {
            anchors.centerIn: parent
            color: Theme.secondaryText
            font.family: Theme.family
            font.pixelSize: Theme.label
            horizontalAlignment: Text.AlignHCenter
            text: root.model.posterFailure
            textFormat: Text.PlainText
            width: parent.width * 0.6
            wrapMode: Text.Wrap
        }
    }
}
