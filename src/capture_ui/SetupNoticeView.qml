import QtQuick
import QtQuick.Layouts
import Varnelle.CaptureUi
import Varnelle.Ui

// A card above the dock bar with something to tell and two ways on.
Item {
    id: root

    required property SetupNoticeModel model

    readonly property real outerPadding: 24
    readonly property real outerRadius: 18

    Accessible.description: model.text
    Accessible.name: model.title
    Accessible.role: Accessible.Grouping
    Keys.onEscapePressed: if (model.canBeDismissed) {
        model.dismiss();
    }
    focus: true
    implicitHeight: content.implicitHeight + 28 + 2 * outerPadding
    implicitWidth: 460 + 2 * outerPadding

    Shadow {
        anchors.fill: card
        anchors.margins: -extent
        blur: 8
        cornerRadius: card.radius
        opacity: 0.4
    }

    Rectangle {
        id: card

        anchors.fill: parent
        anchors.margins: root.outerPadding
        border.color: Qt.rgba(1, 1, 1, 0.16)
        border.width: 1
        color: Theme.floating
        radius: 18

        RowLayout {
            id: content

            anchors.left: parent.left
            anchors.leftMargin: 18
            anchors.right: parent.right
            anchors.rightMargin: 14
            anchors.verticalCenter: parent.verticalCenter
            spacing: Theme.gap

            Icon {
                Layout.rightMargin: 4
                color: root.model.isDestructive ? Theme.recording : root.model.canBeDismissed ? "#a7a1ff" : Theme.warning
                name: root.model.isDestructive ? "trash" : root.model.canBeDismissed ? "arrow.counterclockwise" : "exclamationmark.triangle.fill"
                size: 22
            }

            ColumnLayout {
                Layout.fillWidth: true
                spacing: 2

                Text {
                    Layout.fillWidth: true
                    color: Theme.text
                    font.family: Theme.family
                    font.pixelSize: Theme.body
                    font.weight: Font.DemiBold
                    text: root.model.title
                    wrapMode: Text.Wrap
                }

                Text {
                    Layout.fillWidth: true
                    color: Theme.secondaryText
                    font.family: Theme.family
                    font.pixelSize: 12
                    text: root.model.text
                    textFormat: Text.PlainText
                    wrapMode: Text.Wrap
                }
            }

            AppButton {
                isDestructive: !root.model.isDestructive && root.model.canBeDismissed
                text: root.model.otherButton

                onPressed: root.model.pressOther()
            }

            AppButton {
                isProminent: true
                text: root.model.mainButton

                onPressed: root.model.pressMain()
            }

            Pressable {
                accessibleName: qsTr("Decide later")
                implicitHeight: 22
                implicitWidth: 22
                visible: root.model.canBeDismissed

                onPressed: root.model.dismiss()

                Icon {
                    anchors.centerIn: parent
                    color: Theme.secondaryText
                    name: "xmark"
                    size: 12
                }
            }
        }
    }
}
