pragma ComponentBehavior: Bound

import QtQuick
import QtQuick.Layouts
import Varnelle.Ui

// An alert: the program's icon, a message, what follows from it, and the buttons, the likely one at the right.
Rectangle {
    id: root

    required property string message
    required property string informativeText
    required property list<string> buttons
    required property int cancelButton
    required property int destructiveButton

    signal answered(int button)

    Accessible.description: informativeText
    Accessible.name: message
    Accessible.role: Accessible.AlertMessage
    Keys.onEscapePressed: answered(cancelButton)
    Keys.onReturnPressed: answered(0)
    color: Theme.panel
    focus: true
    implicitHeight: content.implicitHeight + 48
    implicitWidth: Math.max(420, buttonRow.implicitWidth + 48)

    ColumnLayout {
        id: content

        anchors.left: parent.left
        anchors.margins: 24
        anchors.right: parent.right
        anchors.top: parent.top
        spacing: 12

        RowLayout {
            spacing: 16

            ProgramIcon {
                Layout.alignment: Qt.AlignTop
                implicitHeight: 52
                implicitWidth: 52
            }

            ColumnLayout {
                spacing: 6

                Text {
                    Layout.fillWidth: true
                    color: Theme.text
                    font.family: Theme.family
                    font.pixelSize: 15
                    font.weight: Font.DemiBold
                    text: root.message
                    textFormat: Text.PlainText
                    wrapMode: Text.Wrap
                }

                Text {
                    Layout.fillWidth: true
                    color: Theme.secondaryText
                    font.family: Theme.family
                    font.pixelSize: Theme.body
                    lineHeight: 1.25
                    text: root.informativeText
                    textFormat: Text.PlainText
                    visible: text !== ""
                    wrapMode: Text.Wrap
                }
            }
        }

        RowLayout {
            id: buttonRow

            Layout.alignment: Qt.AlignRight
            Layout.topMargin: 8
            layoutDirection: Qt.RightToLeft
            spacing: Theme.gap

            Repeater {
                model: root.buttons

                AppButton {
                    required property int index
                    required property string modelData

                    focus: index === 0
                    isDestructive: index === root.destructiveButton
                    isProminent: index === 0
                    text: modelData

                    onPressed: root.answered(index)
                }
            }
        }
    }
}
