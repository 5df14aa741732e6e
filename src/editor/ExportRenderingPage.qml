import QtQuick
import Varnelle.Editor
import Varnelle.Ui

// An export under way: how far it is, and how to end it.
Column {
    id: root

    required property ExportModel model

    spacing: 8

    onVisibleChanged: if (visible)
        cancelButton.forceActiveFocus()

    Item {
        id: ring

        property real shownProgress: root.model.progress

        Accessible.description: root.model.timeLeft
        Accessible.name: qsTr("%1 completed").arg(root.model.percentage)
        Accessible.role: Accessible.ProgressBar
        anchors.horizontalCenter: parent.horizontalCenter
        height: 180
        objectName: "ring"
        width: 180

        Behavior on shownProgress  {
            NumberAnimation {
                duration: 500
                easing.type: Easing.InOutQuad
            }
        }

        onShownProgressChanged: canvas.requestPaint()

        Canvas {
            id: canvas

            readonly property real lineWidth: 10

            function arc(context: var, color: var, sweep: real): void {
                context.beginPath();
                context.strokeStyle = color;
                context.arc(width / 2, height / 2, (width - lineWidth) / 2, -Math.PI / 2, -Math.PI / 2 + sweep);
                context.stroke();
            }

            anchors.fill: parent

            onPaint: {
                const context = getContext("2d");
                context.reset();
                context.lineCap = "round";
                context.lineWidth = lineWidth;
                arc(context, Theme.raised, 2 * Math.PI);
                if (ring.shownProgress > 0.001)
                    arc(context, Theme.focusRing, 2 * Math.PI * ring.shownProgress);
            }
        }

        Column {
            anchors.centerIn: parent
            spacing: 2

            Text {
                anchors.horizontalCenter: parent.horizontalCenter
                color: Theme.text
                font.family: Theme.family
                font.pixelSize: 36
                font.weight: Font.Bold
                objectName: "percentage"
                text: root.model.percentage
            }

            Text {
                anchors.horizontalCenter: parent.horizontalCenter
                color: Theme.secondaryText
                font.family: Theme.family
                font.letterSpacing: 1
                font.pixelSize: 10
                font.weight: Font.DemiBold
                text: qsTr("COMPLETED")
            }
        }
    }

    Item {
        height: 10
        width: 1
    }

    Text {
        anchors.horizontalCenter: parent.horizontalCenter
        color: Theme.text
        font.family: Theme.family
        font.pixelSize: Theme.title
        font.weight: Font.DemiBold
        text: qsTr("Rendering System Output...")
    }

    Text {
        anchors.horizontalCenter: parent.horizontalCenter
        color: Theme.secondaryText
        font.family: Theme.family
        font.pixelSize: Theme.body
        text: root.model.finalizingText
    }

    Text {
        anchors.horizontalCenter: parent.horizontalCenter
        color: Theme.secondaryText
        font.family: Theme.family
        font.pixelSize: Theme.body
        height: 20
        objectName: "timeLeft"
        text: root.model.isCancelling ? qsTr("Cancelling…") : root.model.timeLeft
    }

    Item {
        height: 10
        width: 1
    }

    AppButton {
        id: cancelButton

        anchors.horizontalCenter: parent.horizontalCenter
        enabled: !root.model.isCancelling
        objectName: "cancelButton"
        text: qsTr("Cancel Export Rendering")

        onPressed: root.model.cancel()
    }
}
