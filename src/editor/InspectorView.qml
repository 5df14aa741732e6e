import QtQuick
import Varnelle.Editor
import Varnelle.Ui

// The sidebar: its tabs, and under them the rows of the chosen one.
Rectangle {
    id: root

    required property InspectorModel model

    Accessible.name: qsTr("Inspector")
    Accessible.role: Accessible.Pane
    border.color: Theme.hairline
    border.width: 1
    color: Theme.panel
    radius: 10

    InspectorTabBar {
        id: tabs

        anchors.left: parent.left
        anchors.margins: 8
        anchors.right: parent.right
        anchors.top: parent.top
        model: root.model
    }

    FocusFlickable {
        id: flick

        anchors.bottom: parent.bottom
        anchors.left: parent.left
        anchors.right: parent.right
        anchors.top: tabs.bottom
        anchors.topMargin: 4
        clip: true
        contentHeight: column.implicitHeight + 24

        Item {
            id: column

            implicitHeight: Math.max(cursor.visible ? cursor.implicitHeight : 0, background.visible ? background.implicitHeight : 0, camera.visible ? camera.implicitHeight : 0, audio.visible ? audio.implicitHeight : 0)
            width: flick.width - 32
            x: 16
            y: 12

            CursorInspectorSection {
                id: cursor

                model: root.model
                visible: root.model.activeTab === InspectorModel.Cursor
                width: parent.width
            }

            BackgroundInspectorSection {
                id: background

                model: root.model
                visible: root.model.activeTab === InspectorModel.Background
                width: parent.width
            }

            CameraInspectorSection {
                id: camera

                model: root.model
                visible: root.model.activeTab === InspectorModel.Camera
                width: parent.width
            }

            AudioInspectorSection {
                id: audio

                model: root.model
                visible: root.model.activeTab === InspectorModel.Audio
                width: parent.width
            }
        }
    }

    ScrollMark {
        flickable: flick
    }

    Connections {
        function onActiveTabChanged(): void {
            flick.contentY = 0;
        }

        target: root.model
    }
}
