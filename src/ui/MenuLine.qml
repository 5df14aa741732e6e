import QtQuick
import Varnelle.Ui

// One line of a menu.
Item {
    id: root

    required property int index
    required property string text
    required property string icon
    required property bool isChecked
    required property bool isEnabled
    required property bool isSeparator
    property bool hasMarks: false
    property bool isHighlighted: false

    readonly property real markWidth: 24

    signal chosen
    // The pointer has come to a place of the line, given on the screen.
    signal hovered(point place)

    Accessible.checkable: isChecked
    Accessible.checked: isChecked
    Accessible.focusable: isEnabled
    Accessible.focused: isHighlighted
    Accessible.name: text
    Accessible.role: isSeparator ? Accessible.Separator : Accessible.MenuItem
    implicitHeight: isSeparator ? Theme.menuDividerHeight : Theme.menuLineHeight

    Accessible.onPressAction: if (isEnabled) {
        chosen();
    }

    HoverHandler {
        onPointChanged: if (hovered) {
            root.hovered(root.mapToGlobal(point.position));
        }
    }

    TapHandler {
        enabled: root.isEnabled
        gesturePolicy: TapHandler.ReleaseWithinBounds

        onTapped: root.chosen()
    }

    Rectangle {
        anchors.left: parent.left
        anchors.leftMargin: 8
        anchors.right: parent.right
        anchors.rightMargin: 8
        anchors.verticalCenter: parent.verticalCenter
        color: Theme.hairline
        height: 1
        visible: root.isSeparator
    }

    Rectangle {
        anchors.fill: parent
        color: Theme.accent
        radius: 6
        visible: root.isHighlighted && root.isEnabled
    }

    Icon {
        anchors.left: parent.left
        anchors.leftMargin: 10
        anchors.verticalCenter: parent.verticalCenter
        color: label.color
        name: root.isChecked ? "checkmark" : root.icon
        size: 14
        visible: name !== ""
    }

    Text {
        id: label

        anchors.left: parent.left
        anchors.leftMargin: 12 + (root.hasMarks ? root.markWidth : 0)
        anchors.right: parent.right
        anchors.rightMargin: 12
        anchors.verticalCenter: parent.verticalCenter
        color: root.isEnabled ? Theme.text : Theme.secondaryText
        elide: Text.ElideMiddle
        font.family: Theme.family
        font.pixelSize: Theme.body
        font.weight: Font.Medium
        text: root.text
        textFormat: Text.PlainText
    }
}
