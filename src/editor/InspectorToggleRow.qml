import QtQuick
import QtQuick.Layouts
import Varnelle.Ui

// Something that is on or off.
RowLayout {
    id: root

    required property string title
    required property string systemImage
    property string description: ""
    required property bool isOn

    signal toggled

    Layout.fillWidth: true
    spacing: 8

    Icon {
        Layout.alignment: Qt.AlignTop
        Layout.topMargin: 2
        color: Theme.secondaryText
        name: root.systemImage
        opacity: root.enabled ? 1 : 0.5
        size: 15
    }

    ColumnLayout {
        spacing: 3

        Text {
            Layout.fillWidth: true
            color: root.enabled ? Theme.text : Theme.disabledText
            font.family: Theme.family
            font.pixelSize: Theme.body
            font.weight: Font.Medium
            text: root.title
            wrapMode: Text.Wrap
        }

        Text {
            Layout.fillWidth: true
            color: Theme.secondaryText
            font.family: Theme.family
            font.pixelSize: 12
            lineHeight: 1.1
            text: root.description
            visible: text !== ""
            wrapMode: Text.Wrap
        }
    }

    SwitchControl {
        Layout.alignment: Qt.AlignTop
        accessibleDescription: root.description
        accessibleName: root.title
        isOn: root.isOn
        objectName: "switch" + root.title

        onPressed: root.toggled()
    }
}
