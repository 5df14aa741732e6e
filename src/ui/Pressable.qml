import QtQuick
import Varnelle.Ui

// What every button is made of: pressed by the pointer or by Space and Enter, in the chain of Tab, with a ring
// while it has the keyboard, and known to assistive programs.
Item {
    id: root

    property string accessibleName: ""
    property string accessibleDescription: ""
    property int accessibleRole: Accessible.Button
    property bool isChecked: false
    property bool isCheckable: false
    property real ringRadius: Theme.radius + 2
    readonly property bool isHovered: hover.hovered && enabled
    readonly property bool isDown: tap.pressed || keyDown
    property bool keyDown: false

    signal pressed

    Accessible.checkable: isCheckable
    Accessible.checked: isChecked
    Accessible.description: accessibleDescription
    Accessible.focusable: activeFocusOnTab
    Accessible.name: accessibleName
    Accessible.role: accessibleRole
    activeFocusOnTab: enabled

    Accessible.onPressAction: if (enabled) {
        pressed();
    }
    Keys.onPressed: event => {
        if (event.isAutoRepeat || ![Qt.Key_Space, Qt.Key_Return, Qt.Key_Enter].includes(event.key))
            return;
        event.accepted = true;
        root.keyDown = event.key === Qt.Key_Space;
        if (!root.keyDown)
            root.pressed();
    }
    Keys.onReleased: event => {
        if (event.isAutoRepeat || event.key !== Qt.Key_Space || !root.keyDown)
            return;
        event.accepted = true;
        root.keyDown = false;
        root.pressed();
    }
    onActiveFocusChanged: keyDown = false

    HoverHandler {
        id: hover
    }

    TapHandler {
        id: tap

        gesturePolicy: TapHandler.ReleaseWithinBounds

        onTapped: root.pressed()
    }

    Rectangle {
        anchors.fill: parent
        anchors.margins: -2
        border.color: Theme.focusRing
        border.width: 2
        color: "transparent"
        radius: root.ringRadius
        visible: root.activeFocus
        z: 1
    }
}
