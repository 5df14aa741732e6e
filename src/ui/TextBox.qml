import QtQuick
import Varnelle.Ui

// A line of text to edit. Return and leaving it commit what was typed, Escape takes it back.
FocusScope {
    id: root

    required property string value
    required property string accessibleName
    property string emptyText: ""
    property alias horizontalAlignment: input.horizontalAlignment
    property alias font: input.font
    // Looks like a text until it is pointed at or edited.
    property bool isQuiet: false
    readonly property bool isEditing: input.activeFocus

    signal edited(string text)
    signal committed(string text)

    function leave(): void {
        if (input.activeFocus)
            input.focus = false;
    }

    implicitHeight: Theme.controlHeight
    implicitWidth: 200

    Rectangle {
        anchors.fill: parent
        border.color: input.activeFocus ? Theme.focusRing : Theme.hairline
        border.width: input.activeFocus ? 2 : root.isQuiet && !hover.hovered ? 0 : 1
        color: input.activeFocus ? Theme.canvas : root.isQuiet ? (hover.hovered ? Theme.raised : "transparent") : Theme.raised
        radius: Theme.radius
    }

    HoverHandler {
        id: hover

        cursorShape: Qt.IBeamCursor
    }

    TextInput {
        id: input

        property bool isTakenBack: false
        property string before: ""

        Accessible.description: root.emptyText
        Accessible.editable: true
        Accessible.focusable: true
        Accessible.name: root.accessibleName
        Accessible.role: Accessible.EditableText
        activeFocusOnTab: true
        anchors.fill: parent
        anchors.leftMargin: 10
        anchors.rightMargin: 10
        clip: true
        color: Theme.text
        focus: true
        font.family: Theme.family
        font.pixelSize: Theme.body
        selectByMouse: true
        selectedTextColor: "white"
        selectionColor: Theme.accent
        text: root.value
        verticalAlignment: TextInput.AlignVCenter

        Keys.onEscapePressed: event => {
            isTakenBack = true;
            if (root.value !== before)
                root.edited(before);
            focus = false;
        }
        onAccepted: focus = false
        onActiveFocusChanged: {
            if (activeFocus) {
                isTakenBack = false;
                before = root.value;
                selectAll();
                return;
            }
            deselect();
            if (!isTakenBack && text !== root.value)
                root.committed(text);
            text = Qt.binding(() => root.value);
        }
        onTextEdited: root.edited(text)

        Text {
            anchors.fill: parent
            color: Theme.disabledText
            font: input.font
            horizontalAlignment: input.horizontalAlignment
            text: root.emptyText
            verticalAlignment: Text.AlignVCenter
            visible: input.text === "" && !input.activeFocus
        }
    }
}
