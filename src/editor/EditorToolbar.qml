import QtQuick
import QtQuick.Layouts
import Varnelle.Editor
import Varnelle.Ui

// Over the preview: history, the project's name, and what leads out of the editor.
RowLayout {
    id: root

    required property EditorModel model
    required property MenuModel programMenu

    // The name is edited no more.
    signal renamingEnded

    function endRenaming(): void {
        name.leave();
    }

    Accessible.name: qsTr("Editor tools")
    Accessible.role: Accessible.ToolBar
    spacing: 4

    PopupMenu {
        id: menu

        model: root.programMenu
    }

    TimelineToolButton {
        id: menuButton

        accessibleRole: Accessible.ButtonMenu
        iconName: "line.3.horizontal"
        label: qsTr("Program Menu")
        objectName: "menuButton"

        onPressed: menu.open(menuButton)
    }

    TimelineToolButton {
        id: undo

        enabled: root.model.canUndo
        iconName: "arrow.uturn.backward"
        label: qsTr("Undo")
        objectName: "undoButton"
        successor: redo

        onPressed: root.model.undo()
    }

    TimelineToolButton {
        id: redo

        enabled: root.model.canRedo
        iconName: "arrow.uturn.forward"
        label: qsTr("Redo")
        objectName: "redoButton"
        successor: undo

        onPressed: root.model.redo()
    }

    Item {
        Layout.fillWidth: true
        Layout.preferredWidth: 1
    }

    TextBox {
        id: name

        Layout.maximumWidth: 340
        Layout.preferredWidth: 340
        accessibleName: qsTr("Project name")
        enabled: !root.model.isSaving
        font.pixelSize: Theme.label
        font.weight: Font.DemiBold
        horizontalAlignment: TextInput.AlignHCenter
        isQuiet: true
        objectName: "nameField"
        emptyText: qsTr("Untitled")
        value: root.model.projectName
        visible: root.model.hasProject

        onCommitted: text => root.model.rename(text)
        onIsEditingChanged: if (!isEditing)
            root.renamingEnded()
    }

    ProgressRing {
        isRunning: visible
        visible: root.model.isSaving
    }

    Item {
        Layout.fillWidth: true
        Layout.preferredWidth: 1
    }

    AppButton {
        iconName: "plus.circle"
        objectName: "newRecordingButton"
        text: qsTr("New Recording")

        onPressed: root.model.newRecording()
    }

    AppButton {
        Layout.leftMargin: 4
        enabled: root.model.hasProject
        iconName: "square.and.arrow.up"
        isProminent: true
        objectName: "exportButton"
        text: qsTr("Export")

        onPressed: root.model.showExportView()
    }
}
