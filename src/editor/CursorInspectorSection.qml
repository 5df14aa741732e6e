pragma ComponentBehavior: Bound

import QtQuick
import Varnelle.Editor

InspectorSection {
    id: root

    required property InspectorModel model

    notice: model.hasCursorData ? "" : qsTr("This recording does not include separate cursor telemetry yet, so cursor controls are unavailable for it.")
    systemImage: "cursorarrow.motionlines"
    title: qsTr("Cursor")

    Repeater {
        model: root.model.cursorToggles

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
        model: root.model.cursorSliders

        InspectorSliderRow {
            required property InspectorSlider modelData

            model: modelData
        }
    }
}
