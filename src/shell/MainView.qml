pragma ComponentBehavior: Bound

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

    Loader {
        anchors.fill: parent
        focus: true
        sourceComponent: {
            switch (root.model.content) {
            case MainViewModel.Recording:
                return recording;
            case MainViewModel.Editor:
                return editor;
            case MainViewModel.ExportView:
                return exportView;
            default:
                return null;
            }
        }
    }

    Component {
        id: recording

        RecordingActiveView {
            time: root.model.recordingTime

            onStop: root.model.toggleRecording()
        }
    }

    Component {
        id: editor

        ProjectView {
            model: root.model
        }
    }

    Component {
        id: exportView

        ExportProgressView {
            model: root.model
        }
    }
}
