import QtQuick
import QtQuick.Dialogs

FolderDialog {
    signal chosen(url folder)
    signal cancelled

    onAccepted: chosen(selectedFolder)
    onRejected: cancelled()
}
