import QtQuick
import Varnelle.CaptureUi
import Varnelle.Ui

// A device in the dock bar: its icon over its label. A press opens the menu of its kind.
Pressable {
    id: root

    required property DockBarItem item
    // What kind of device it is, for those who don't see the icon.
    required property string kind

    readonly property real labelRoom: 104

    accessibleDescription: item.isOn ? qsTr("On") : item.isAvailable ? qsTr("Off") : qsTr("Not available")
    accessibleName: item.label === kind ? kind : qsTr("%1: %2").arg(kind).arg(item.label)
    accessibleRole: Accessible.ButtonMenu
    enabled: item.isAvailable
    implicitHeight: 48
    implicitWidth: Math.max(18, Math.min(Math.ceil(metrics.advanceWidth), labelRoom)) + 12
    opacity: item.isOn ? 1 : item.isAvailable ? 0.85 : 0.3
    ringRadius: 14

    TextMetrics {
        id: metrics

        font: label.font
        text: root.item.label
    }

    Rectangle {
        anchors.bottomMargin: 3
        anchors.fill: parent
        anchors.topMargin: 3
        color: "white"
        opacity: root.isDown ? 0.12 : root.isHovered ? 0.07 : 0
        radius: 12

        Behavior on opacity  {
            NumberAnimation {
                duration: Theme.quick
            }
        }
    }

    Icon {
        id: icon

        anchors.horizontalCenter: parent.horizontalCenter
        color: "white"
        name: root.item.icon
        size: 18
        y: 6
    }

    Text {
        id: label

        anchors.bottom: parent.bottom
        anchors.bottomMargin: 5
        anchors.horizontalCenter: parent.horizontalCenter
        color: "white"
        elide: Text.ElideMiddle
        font.family: Theme.family
        font.pixelSize: 10
        font.weight: Font.Medium
        horizontalAlignment: Text.AlignHCenter
        text: root.item.label
        textFormat: Text.PlainText
        width: root.width - 10
    }
}
