import QtQuick
import Varnelle.Editor
import Varnelle.Shell
import Varnelle.Ui

// The main window's content, by the program's mode.
FocusScope {
    id: root

    required property MainViewModel model
    required property EditorModel editorModel
    required property ExportModel exportModel

    focus: true

    Rectangle {
        anchors.fill: parent
        color: Theme.window
    }

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

        onActivated: root.model.openProject()
    }

    RecordingActiveView {
        anchors.fill: parent
        time: root.model.recordingTime
        visible: root.model.content === MainViewModel.Recording

        onStop: root.model.toggleRecording()
    }
    EditorView {
        anchors.fill: parent
        enabled: visible
        focus: visible
        model: root.editorModel
        programMenu: root.model.programMenu
        visible: root.model.content === MainViewModel.Editor
    }
    ExportView {
        anchors.fill: parent
        enabled: visible
        focus: visible
        model: root.exportModel
        visible: root.model.content === MainViewModel.ExportView
    }
}
