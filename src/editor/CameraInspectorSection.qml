pragma ComponentBehavior: Bound

import QtQuick
import QtQuick.Layouts
import Varnelle.Editor
import Varnelle.Ui

InspectorSection {
    id: root

    required property InspectorModel model

    notice: model.hasCamera ? "" : qsTr("No camera track was recorded in this session.")
    subtitle: qsTr("Drag in the preview or use these controls to place and style the overlay.")
    systemImage: "square.on.circle"
    title: qsTr("Camera")

    Repeater {
        model: root.model.cameraToggles

        InspectorToggleRow {
            required property InspectorToggle modelData

            description: modelData.description
            isOn: modelData.isOn
            systemImage: modelData.systemImage
            title: modelData.title

            onToggled: modelData.toggle()
        }
    }

    Repeater {
        id: sliders

        model: root.model.cameraSliders

        InspectorSliderRow {
            required property InspectorSlider modelData

            model: modelData
        }
    }

    RowLayout {
        Layout.fillWidth: true
        spacing: 8

        Icon {
            color: Theme.secondaryText
            name: "move.3d"
            size: 15
        }

        Text {
            Layout.fillWidth: true
            color: Theme.text
            font.family: Theme.family
            font.pixelSize: Theme.body
            font.weight: Font.Medium
            text: qsTr("Position")
        }

        ResetButton {
            accessibleName: qsTr("Reset Position")
            enabled: root.model.hasPosition
            objectName: "resetPosition"
            successor: sliders.count > 0 ? (sliders.itemAt(sliders.count - 1) as InspectorSliderRow).slider : null

            onPressed: root.model.resetPosition()
        }
    }
}
