import QtQuick
import QtQuick.Layouts
import Varnelle.CaptureUi
import Varnelle.Ui

// One permission: what it is for, and whether it has been granted. Pressing it asks for it.
Pressable {
    id: root

    required property PermissionRow row

    accessibleDescription: row.subtitle
    accessibleName: row.title + ", " + row.badgeText
    implicitHeight: content.implicitHeight + 24
    ringRadius: 14

    Rectangle {
        anchors.fill: parent
        border.color: root.row.isGranted ? Qt.rgba(0.24, 0.86, 0.52, 0.4) : Qt.rgba(1, 1, 1, root.isHovered ? 0.28 : 0.1)
        border.width: 1
        // Dark enough for the faint subtitle to be read.
        color: root.isDown ? "#000000" : Theme.canvas
        radius: 12

        Behavior on border.color  {
            ColorAnimation {
                duration: 250
                easing.type: Easing.InOutQuad
            }
        }
        Behavior on color  {
            ColorAnimation {
                duration: 250
                easing.type: Easing.InOutQuad
            }
        }
    }

    RowLayout {
        id: content

        anchors.left: parent.left
        anchors.leftMargin: 14
        anchors.right: parent.right
        anchors.rightMargin: 14
        anchors.verticalCenter: parent.verticalCenter
        spacing: 12

        Rectangle {
            color: Theme.raised
            implicitHeight: 38
            implicitWidth: 38
            radius: 8

            Icon {
                anchors.centerIn: parent
                color: Theme.text
                name: root.row.icon
                size: 18
            }
        }

        ColumnLayout {
            spacing: 2

            Text {
                color: "#ffffff"
                font.family: Theme.family
                font.pixelSize: 13
                font.weight: Font.DemiBold
                text: root.row.title
            }

            Text {
                Layout.fillWidth: true
                color: Qt.rgba(1, 1, 1, 0.45)
                elide: Text.ElideRight
                font.family: Theme.family
                // 11.5 pixels, which pixelSize can't say.
                font.pointSize: 11.5 * 0.75
                text: root.row.subtitle
            }
        }

        Rectangle {
            id: badge

            readonly property color tint: root.row.isGranted ? Theme.success : Theme.warning

            color: Qt.rgba(tint.r, tint.g, tint.b, 0.16)
            implicitHeight: badgeContent.implicitHeight + 4
            implicitWidth: badgeContent.implicitWidth + 12
            radius: 5

            RowLayout {
                id: badgeContent

                anchors.centerIn: parent
                spacing: 4

                Icon {
                    color: badge.tint
                    name: root.row.badgeIcon
                    size: 9
                }

                Text {
                    color: badge.tint
                    font.family: Theme.family
                    font.pixelSize: 9
                    font.weight: Font.Bold
                    text: root.row.badgeText
                }
            }
        }
    }
}
