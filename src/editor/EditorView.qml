import QtQuick
import QtQuick.Layouts
import Varnelle.Editor
import Varnelle.Ui

// The editing mode: the preview, beside it the inspector, under both the timeline.
FocusScope {
    id: root

    required property EditorModel model
    required property MenuModel programMenu

    readonly property real horizontalPadding: width >= 1020 ? 24 : width >= 900 ? 18 : 14
    readonly property real sidebarWidth: 300

    Accessible.name: qsTr("Editor")
    Accessible.role: Accessible.Pane
    focus: true

    Keys.onPressed: event => {
        if (event.modifiers & ~Qt.KeypadModifier || !root.model.hasProject)
            return;
        event.accepted = true;
        if (event.key === Qt.Key_Space && !event.isAutoRepeat)
            root.model.togglePlayback();
        else if (event.key === Qt.Key_Left)
            root.model.stepFrames(-1);
        else if (event.key === Qt.Key_Right)
            root.model.stepFrames(1);
        else if (event.key === Qt.Key_Home)
            root.model.goToStart();
        else if (event.key === Qt.Key_End)
            root.model.goToEnd();
        else
            event.accepted = false;
    }

    // Has the keyboard where nothing else wants it.
    Item {
        id: rest

        focus: true
    }

    Shortcut {
        enabled: root.enabled && root.model.canUndo
        sequences: ["Ctrl+Z"]

        onActivated: root.model.undo()
    }

    Shortcut {
        enabled: root.enabled && root.model.canRedo
        sequences: ["Ctrl+Shift+Z", "Ctrl+Y"]

        onActivated: root.model.redo()
    }

    Shortcut {
        enabled: root.enabled && root.model.hasProject
        sequences: ["Ctrl+S"]

        onActivated: root.model.save()
    }

    // A press where nothing else takes it ends the editing of a text.
    TapHandler {
        onTapped: rest.forceActiveFocus()
    }

    Connections {
        function onTextEditingShouldEnd(): void {
            toolbar.endRenaming();
        }

        target: root.model
    }

    EditorToolbar {
        id: toolbar

        anchors.left: parent.left
        anchors.leftMargin: root.horizontalPadding
        anchors.right: parent.right
        anchors.rightMargin: root.horizontalPadding
        height: 52
        model: root.model
        programMenu: root.programMenu

        onRenamingEnded: rest.forceActiveFocus()
    }

    RowLayout {
        anchors.bottom: timeline.top
        anchors.bottomMargin: 12
        anchors.left: parent.left
        anchors.leftMargin: root.horizontalPadding
        anchors.right: parent.right
        anchors.rightMargin: root.horizontalPadding
        anchors.top: toolbar.bottom
        spacing: 14

        PreviewPane {
            Layout.fillHeight: true
            Layout.fillWidth: true
            model: root.model
        }

        InspectorView {
            Layout.fillHeight: true
            Layout.preferredWidth: root.sidebarWidth
            model: root.model.inspector
            visible: root.model.hasProject
        }
    }

    Rectangle {
        anchors.fill: timeline
        color: Theme.panel

        Rectangle {
            color: Theme.hairline
            height: 1
            width: parent.width
        }
    }

    TimelineView {
        id: timeline

        anchors.bottom: parent.bottom
        anchors.left: parent.left
        anchors.right: parent.right
        horizontalPadding: root.horizontalPadding
        model: root.model.timeline
        visible: root.model.hasProject
    }
}
