import QtQuick
import QtQuick.Layouts
import Varnelle.Ui

// A tab's content: its title with a symbol, what it is for, and the rows.
ColumnLayout {
    id: root

    required property string title
    required property string systemImage
    property string subtitle: ""
    // In place of the rows, where there is nothing to set.
    property string notice: ""
    default property alias rows: content.data

    spacing: 0

    RowLayout {
        spacing: 9

        Icon {
            color: Theme.text
            name: root.systemImage
            size: 18
        }

        Text {
            Accessible.name: text
            Accessible.role: Accessible.Heading
            Layout.fillWidth: true
            color: Theme.text
            font.family: Theme.family
            font.pixelSize: 15
            font.weight: Font.DemiBold
            text: root.title
        }
    }

    Text {
        Layout.fillWidth: true
        Layout.topMargin: 6
        color: Theme.secondaryText
        font.family: Theme.family
        font.pixelSize: 12
        lineHeight: 1.15
        text: root.subtitle
        visible: text !== ""
        wrapMode: Text.Wrap
    }

    Text {
        Accessible.name: text
        Accessible.role: Accessible.StaticText
        Layout.fillWidth: true
        Layout.topMargin: 14
        color: Theme.secondaryText
        font.family: Theme.family
        font.pixelSize: Theme.body
        lineHeight: 1.2
        text: root.notice
        visible: text !== ""
        wrapMode: Text.Wrap
    }

    ColumnLayout {
        id: content

        Layout.fillWidth: true
        Layout.topMargin: 16
        spacing: 16
        visible: root.notice === ""
    }
}
