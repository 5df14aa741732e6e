import QtQuick
import QtQuick.Layouts
import Varnelle.Editor
import Varnelle.Ui

// The movie is there.
ColumnLayout {
    id: root

    required property ExportModel model

    spacing: 14

    onVisibleChanged: if (visible)
        showButton.forceActiveFocus()

    Rectangle {
        Layout.alignment: Qt.AlignHCenter
        color: Qt.rgba(0.2, 0.84, 0.3, 0.1)
        implicitHeight: 120
        implicitWidth: 120
        radius: 60

        Icon {
            anchors.centerIn: parent
            color: "#30d158"
            lowerColor: Qt.rgba(0.2, 0.8, 0.4, 1)
            name: "checkmark.seal.fill"
            size: 64
        }
    }

    Text {
        Accessible.name: text
        Accessible.role: Accessible.Heading
        Layout.alignment: Qt.AlignHCenter
        color: Theme.text
        font.family: Theme.family
        font.pixelSize: Theme.headline
        font.weight: Font.Bold
        text: qsTr("Export Success")
    }

    Text {
        Layout.fillWidth: true
        color: Theme.secondaryText
        font.family: Theme.family
        font.pixelSize: Theme.body
        horizontalAlignment: Text.AlignHCenter
        objectName: "exportedPath"
        text: root.model.exportedPath
        textFormat: Text.PlainText
        wrapMode: Text.WrapAnywhere
    }

    RowLayout {
        Layout.alignment: Qt.AlignHCenter
        Layout.topMargin: 8
        spacing: 10

        AppButton {
            iconName: "arrow.uturn.backward"
            objectName: "backToEditorButton"
            text: qsTr("Back to Editor")

            onPressed: root.model.backToEditor()
        }

        AppButton {
            id: showButton

            iconName: "folder.fill"
            isProminent: true
            objectName: "showButton"
            text: qsTr("Show in Finder")

            onPressed: root.model.showInFolder()
        }
    }
}
