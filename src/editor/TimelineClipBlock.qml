import QtQuick
import Varnelle.Editor

// A clip as assistive programs know it. What is seen of it the lane draws, for all of them at once.
Item {
    id: root

    required property TimelineModel timeline
    required property int lane
    required property string kind
    required property int number
    required property real startSeconds
    required property real durationSeconds
    required property string startText
    required property string durationText
    required property bool isSelected

    Accessible.description: qsTr("From %1, %2 long").arg(startText).arg(durationText)
    Accessible.name: qsTr("%1 %2").arg(kind).arg(number)
    Accessible.role: Accessible.ListItem
    Accessible.selectable: true
    Accessible.selected: isSelected
    height: parent ? parent.height : 0
    width: durationSeconds * timeline.pixelsPerSecond
    x: startSeconds * timeline.pixelsPerSecond

    Accessible.onPressAction: timeline.selectNumber(lane, number)
}
