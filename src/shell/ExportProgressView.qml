import QtQuick
import QtQuick.Layouts
import Varnelle.Shell
import Varnelle.Ui

// An export of the open project, from its start to the finished movie.
Item {
    id: root

    required property MainViewModel model

    ColumnLayout {
        anchors.centerIn: parent
        spacing: Theme.margin
        width: Math.min(parent.width - 2 * Theme.margin, 460)

        Text {
            Layout.fillWidth: true
            color: Theme.text
            font.family: Theme.family
            font.pixelSize: Theme.headline
            font.weight: Font.DemiBold
            horizontalAlignment: Text.AlignHCenter
            text: root.model.isExporting ? qsTr("Exporting…") : root.model.exportedPath !== "" ? qsTr("Exported") : qsTr("Export %1").arg(root.model.projectName)
            textFormat: Text.PlainText
            wrapMode: Text.Wrap
        }

        Rectangle {
            Accessible.name: qsTr("%1 percent").arg(Math.floor(root.model.exportProgress * 100))
            Accessible.role: Accessible.ProgressBar
            Layout.fillWidth: true
            color: Theme.raised
            implicitHeight: 6
            radius: 3
            visible: root.model.isExporting

            Rectangle {
                color: Theme.accentHovered
                height: parent.height
                radius: 3
                width: parent.width * root.model.exportProgress
            }
        }

        Text {
            Layout.fillWidth: true
            color: root.model.exportError !== "" ? Theme.warning : Theme.secondaryText
            font.family: Theme.family
            font.pixelSize: Theme.body
            horizontalAlignment: Text.AlignHCenter
            text: root.model.exportError !== "" ? root.model.exportError : root.model.exportedPath
            textFormat: Text.PlainText
            visible: text !== ""
            wrapMode: Text.WrapAnywhere
        }

        RowLayout {
            Layout.alignment: Qt.AlignHCenter
            spacing: Theme.gap

            AppButton {
                text: root.model.isExporting ? qsTr("Cancel") : qsTr("Back to the Project")

                onPressed: root.model.isExporting ? root.model.cancelExport() : root.model.enterEditor()
            }

            AppButton {
                isProminent: true
                text: qsTr("Export")
                visible: !root.model.isExporting

                onPressed: root.model.startExport()
            }
        }
    }
}
