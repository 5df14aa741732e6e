import QtQuick
import QtQuick.Layouts
import Varnelle.Ui

// A titled group of settings.
Rectangle {
    id: root

    required property string title
    required property string systemImage
    default property alias rows: content.data

    Layout.fillWidth: true
    border.color: Theme.hairline
    border.width: 1
    color: Theme.panel
    implicitHeight: content.implicitHeight + 32
    radius: 12

    ColumnLayout {
        id: content

        anchors.left: parent.left
        anchors.margins: 16
        anchors.right: parent.right
        anchors.top: parent.top
        spacing: 12

        RowLayout {
            spacing: 8

            Icon {
                color: Theme.secondaryText
                name: root.systemImage
                size: 16
            }

            Text {
                Accessible.name: text
                Accessible.role: Accessible.Heading
                color: Theme.text
                font.family: Theme.family
                font.pixelSize: Theme.label
                font.weight: Font.DemiBold
                text: root.title
            }
        }
    }
}
