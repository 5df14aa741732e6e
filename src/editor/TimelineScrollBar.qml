import QtQuick
import Varnelle.Editor

// What part of the timeline is seen.
Item {
    id: root

    required property TimelineModel model
    readonly property real way: width - thumb.width

    signal grabbed

    Accessible.ignored: true
    implicitHeight: 10
    opacity: model.maximumScrollX > 0.5 ? 1 : 0

    Rectangle {
        id: thumb

        color: Qt.rgba(1, 1, 1, area.pressed ? 0.4 : area.containsMouse ? 0.3 : 0.18)
        height: 5
        radius: 2.5
        width: Math.max(32, root.width * root.width / (root.width + root.model.maximumScrollX))
        x: root.model.maximumScrollX > 0 ? root.way * root.model.scrollX / root.model.maximumScrollX : 0
        y: 3
    }

    MouseArea {
        id: area

        property real grip: 0

        function follow(x: real): void {
            if (root.way > 0)
                root.model.scrollX = (x - grip) / root.way * root.model.maximumScrollX;
        }

        anchors.fill: parent
        enabled: root.model.maximumScrollX > 0.5
        hoverEnabled: true
        preventStealing: true

        onPositionChanged: mouse => {
            if (pressed)
                follow(mouse.x);
        }
        onPressed: mouse => {
            root.grabbed();
            const isOnThumb = mouse.x >= thumb.x && mouse.x <= thumb.x + thumb.width;
            grip = isOnThumb ? mouse.x - thumb.x : thumb.width / 2;
            follow(mouse.x);
        }
    }
}
