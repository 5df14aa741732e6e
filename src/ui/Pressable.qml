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
    // What has the keyboard once this one is disabled while it has it; where that is disabled too, what comes
    // next.
    property Item successor: null

    signal pressed

    function passFocusOn(): void {
        // Disabled with all that is around, it has the keyboard again afterwards.
        if (enabled || !focus || !visible || !parent.enabled)
            return;
        const next = successor !== null && successor.enabled ? successor : nextItemInFocusChain();
        next.forceActiveFocus(Qt.TabFocusReason);
    }

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
    // What is enabled in its place may only be so in a moment.
    onEnabledChanged: if (!enabled && focus && successor !== null) {
        later.start();
    }

    Timer {
        id: later

        interval: 0

        onTriggered: root.passFocusOn()
    }

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
