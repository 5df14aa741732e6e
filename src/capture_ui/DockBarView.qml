pragma ComponentBehavior: Bound

import QtQuick
import QtQuick.Layouts
import Varnelle.CaptureUi
import Varnelle.Ui

// The bar in which a recording is set up. It is moved by its background.
Item {
    id: root

    required property DockBarModel model
    // What marks the chosen source on the screen, or null. It hasn't the keyboard itself, so the bar passes on the keys
    // that it doesn't use.
    property Item overlay: null

    readonly property real barHeight: 48
    readonly property real outerPadding: 8
    readonly property real outerRadius: 24

    function openMenu(item: DockBarItem, control: Item): void {
        menu.model = item.menu;
        menu.open(control);
    }

    Accessible.name: qsTr("Recording setup")
    Accessible.role: Accessible.ToolBar
    Keys.forwardTo: overlay ? [overlay] : []
    focus: true
    implicitHeight: barHeight + 2 * outerPadding
    implicitWidth: content.implicitWidth + 2 * outerPadding

    Shortcut {
        sequence: "Ctrl+R"

        onActivated: root.model.toggleRecording()
    }
    Shortcut {
        sequence: "Ctrl+O"

        onActivated: root.model.openProject()
    }
    Shortcut {
        sequence: "Ctrl+Q"

        onActivated: root.model.close()
    }
    Shortcut {
        sequences: ["Menu", "Shift+F10"]

        onActivated: programMenu.open(root)
    }
    TapHandler {
        acceptedButtons: Qt.RightButton

        onTapped: programMenu.open(root)
    }
    PopupMenu {
        id: programMenu

        model: root.model.programMenu
    }
    PopupMenu {
        id: menu
    }

    Rectangle {
        anchors.fill: bar
        color: Theme.floating
        radius: bar.radius
    }

    Rectangle {
        id: bar

        anchors.fill: parent
        anchors.margins: root.outerPadding
        border.color: Qt.rgba(1, 1, 1, 0.2)
        border.width: 1
        radius: 24

        gradient: Gradient {
            GradientStop {
                color: Qt.rgba(1, 1, 1, 0.16)
                position: 0
            }
            GradientStop {
                color: Qt.rgba(1, 1, 1, 0.12)
                position: 1
            }
        }

        WindowDrag {
            anchors.fill: parent
        }

        RowLayout {
            id: content

            anchors.fill: parent
            spacing: 0

            Pressable {
                Layout.leftMargin: 14
                Layout.rightMargin: 10
                accessibleName: qsTr("Quit Varnelle")
                implicitHeight: 22
                implicitWidth: 22
                objectName: "closeButton"
                ringRadius: 13

                onPressed: root.model.close()

                Icon {
                    anchors.centerIn: parent
                    color: "white"
                    name: "xmark.circle.fill"
                    opacity: parent.isHovered ? 1 : 0.85
                    size: 18
                }
            }

            DockBarDivider {
            }

            RowLayout {
                Layout.leftMargin: 10
                Layout.rightMargin: 10
                spacing: 4

                SourceModeButton {
                    item: root.model.display
                    objectName: "displayButton"

                    onPressed: root.model.pressDisplay()
                }

                SourceModeButton {
                    id: windowButton

                    item: root.model.window
                    objectName: "windowButton"

                    onPressed: root.openMenu(item, windowButton)
                }

                SourceModeButton {
                    item: root.model.area
                    objectName: "areaButton"

                    onPressed: root.model.pressArea()
                }
            }

            DockBarDivider {
            }

            RowLayout {
                Layout.leftMargin: 10
                Layout.rightMargin: 10
                spacing: 14

                DeviceControl {
                    id: camera

                    item: root.model.camera
                    kind: qsTr("Camera")
                    objectName: "cameraControl"

                    onPressed: root.openMenu(item, camera)
                }

                DeviceControl {
                    id: microphone

                    item: root.model.microphone
                    kind: qsTr("Microphone")
                    objectName: "microphoneControl"

                    onPressed: root.openMenu(item, microphone)
                }

                DeviceControl {
                    id: systemAudio

                    item: root.model.systemAudio
                    kind: qsTr("System audio")
                    objectName: "systemAudioControl"

                    onPressed: root.openMenu(item, systemAudio)
                }
            }
        }
    }
}
