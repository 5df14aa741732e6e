import QtQuick
import Qt.labs.platform as Platform
import Varnelle.CaptureUi

// The item in the desktop's tray while a recording runs: a click ends the recording.
Platform.SystemTrayIcon {
    id: root

    required property RecordingIndicatorModel model

    icon.source: "qrc:/icons/record.circle.svg"
    tooltip: qsTr("Varnelle · %1").arg(model.menuBarText)
    visible: true

    menu: Platform.Menu {
        Platform.MenuItem {
            enabled: false
            text: root.model.menuBarText
        }

        Platform.MenuItem {
            enabled: root.model.isRecording
            text: root.model.stateText

            onTriggered: root.model.tap()
        }
    }

    onActivated: reason => {
        if (reason === Platform.SystemTrayIcon.Trigger)
            root.model.tap();
    }
}
