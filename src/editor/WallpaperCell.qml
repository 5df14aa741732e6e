import QtQuick
import Varnelle.Ui

// A wallpaper to choose.
Pressable {
    id: root

    required property int index
    required property string name
    required property var picture
    required property bool isChosen

    accessibleName: name
    accessibleRole: Accessible.RadioButton
    isCheckable: true
    isChecked: isChosen
    objectName: "wallpaper" + name
    ringRadius: 10

    Rectangle {
        anchors.fill: parent
        border.color: root.isChosen ? Theme.focusRing : root.isHovered ? Theme.secondaryText : Theme.hairline
        border.width: root.isChosen ? 2 : 1
        color: Theme.raised
        radius: 8
    }

    PictureItem {
        anchors.centerIn: parent
        height: 38
        image: root.picture
        width: 38
    }

    Rectangle {
        anchors.bottom: parent.bottom
        anchors.margins: -3
        anchors.right: parent.right
        color: Theme.panel
        height: 18
        radius: 9
        visible: root.isChosen
        width: 18

        Icon {
            anchors.centerIn: parent
            color: Theme.focusRing
            name: "checkmark.circle.fill"
            size: 16
        }
    }
}
