import QtQuick
import QtQuick.Layouts
import Varnelle.Editor
import Varnelle.Ui

// A value of the look: its name, what it is now, the way back, and a slider.
ColumnLayout {
    id: root

    required property InspectorSlider model
    readonly property alias slider: slider

    Layout.fillWidth: true
    spacing: 4

    RowLayout {
        spacing: 8

        Icon {
            color: Theme.secondaryText
            name: root.model.systemImage
            size: 15
        }

        Text {
            Layout.fillWidth: true
            color: Theme.text
            elide: Text.ElideRight
            font.family: Theme.family
            font.pixelSize: Theme.body
            font.weight: Font.Medium
            text: root.model.title
        }

        ResetButton {
            accessibleName: qsTr("Reset %1").arg(root.model.title)
            enabled: !root.model.isAtResetValue
            objectName: "reset" + root.model.title
            successor: slider

            onPressed: root.model.reset()
        }

        Text {
            Layout.minimumWidth: 46
            color: Theme.secondaryText
            font.family: Theme.family
            font.pixelSize: 12
            font.weight: Font.Medium
            horizontalAlignment: Text.AlignRight
            text: root.model.valueText
        }
    }

    ValueSlider {
        id: slider

        Layout.fillWidth: true
        accessibleDescription: root.model.valueText
        accessibleName: root.model.title
        maximumValue: root.model.to
        minimumValue: root.model.from
        objectName: "slider" + root.model.title
        value: root.model.value

        onMoved: value => root.model.drag(value)
        onReleased: root.model.endDrag()
    }
}
