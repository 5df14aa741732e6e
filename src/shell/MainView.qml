import QtQuick
import Varnelle.Shell
import Varnelle.Ui

// The main window's content, by the program's mode.
Rectangle {
    id: root

    required property MainViewModel model

    signal openProject

    color: Theme.window

    Shortcut {
        sequence: "Ctrl+R"

        onActivated: root.model.toggleRecording()
    }

    Shortcut {
        enabled: root.model.hasProject
        sequence: "Ctrl+Shift+E"

        onActivated: root.model.showExportView()
    }

    Shortcut {
        sequence: "Ctrl+O"

        onActivated: root.openProject()
    }

    RecordingActiveView {
        anchors.fill: parent
        time: root.model.recordingTime
        visible: root.model.content === MainViewModel.Recording

        onStop: root.model.toggleRecording()
    }
    ProjectView {
        anchors.fill: parent
        model: root.model
        visible: root.model.content === MainViewModel.Editor
    }
    ExportProgressView {
        anchors.fill: parent
        model: root.model
        visible: root.model.content === MainViewModel.ExportView
    }
}
