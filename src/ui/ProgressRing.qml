import QtQuick
import Varnelle.Ui

// A small turning ring: something is under way.
Item {
    id: root

    property color color: Theme.text
    property bool isRunning: true
    property real lineWidth: 2

    Accessible.name: qsTr("In progress")
    Accessible.role: Accessible.Indicator
    implicitHeight: 16
    implicitWidth: 16

    Canvas {
        id: canvas

        anchors.fill: parent

        onPaint: {
            const context = getContext("2d");
            context.reset();
            context.lineWidth = root.lineWidth;
            context.lineCap = "round";
            context.strokeStyle = root.color;
            context.arc(width / 2, height / 2, (Math.min(width, height) - root.lineWidth) / 2, 0, 1.5 * Math.PI);
            context.stroke();
        }

        RotationAnimator on rotation  {
            duration: 900
            from: 0
            loops: Animation.Infinite
            running: root.visible && root.isRunning
            to: 360
        }
    }
}
