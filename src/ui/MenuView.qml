pragma ComponentBehavior: Bound

import QtQuick
import Varnelle.Ui

// The lines of a menu, in the window that it is shown in. The keyboard moves the highlight, chooses and closes.
FocusScope {
    id: root

    required property MenuModel model
    property real maximumHeight: 480
    property real minimumWidth: 180

    readonly property real textRoom: 340
    readonly property var lines: measured()

    property point pointer: Qt.point(NaN, NaN)

    signal closed

    // Lines also hear of a pointer that rests while they move under it; the highlight then stays with the keyboard.
    function pointAt(row: int, place: point): void {
        const hasMoved = place.x !== pointer.x || place.y !== pointer.y;
        if (hasMoved && !isNaN(pointer.x))
            list.currentIndex = row;
        pointer = place;
    }

    function choose(row: int): void {
        root.closed();
        root.model.trigger(row);
    }

    // As wide as its widest line, as high as all: known at once, so that the window can be placed before it is drawn.
    function measured(): var {
        let widest = 0;
        let height = 0;
        let hasMarks = false;
        for (let row = 0; row < root.model.count; ++row) {
            const index = root.model.index(row, 0);
            widest = Math.max(widest, metrics.advanceWidth(root.model.data(index, MenuModel.TextRole)));
            height += root.model.data(index, MenuModel.IsSeparatorRole) ? Theme.menuDividerHeight : Theme.menuLineHeight;
            hasMarks = hasMarks || root.model.data(index, MenuModel.IsCheckedRole) || root.model.data(index, MenuModel.IconRole) !== "";
        }
        const width = Math.min(Math.ceil(widest), root.textRoom) + 26 + (hasMarks ? 24 : 0);
        return {
            "width": Math.max(root.minimumWidth, width),
            "height": height,
            "hasMarks": hasMarks
        };
    }

    Accessible.name: qsTr("Menu")
    Accessible.role: Accessible.PopupMenu
    focus: true
    implicitHeight: Math.min(lines.height + 12, maximumHeight)
    implicitWidth: lines.width + 12

    onLinesChanged: list.currentIndex = -1

    Keys.onDownPressed: list.currentIndex = root.model.nextRow(list.currentIndex, 1)
    Keys.onEnterPressed: root.choose(list.currentIndex)
    Keys.onEscapePressed: root.closed()
    Keys.onPressed: event => {
        if (event.key === Qt.Key_Home)
            list.currentIndex = root.model.nextRow(-1, 1);
        else if (event.key === Qt.Key_End)
            list.currentIndex = root.model.nextRow(-1, -1);
        else
            return;
        event.accepted = true;
    }
    Keys.onReturnPressed: root.choose(list.currentIndex)
    Keys.onSpacePressed: root.choose(list.currentIndex)
    Keys.onTabPressed: list.currentIndex = root.model.nextRow(list.currentIndex, 1)
    Keys.onUpPressed: list.currentIndex = root.model.nextRow(list.currentIndex, -1)

    FontMetrics {
        id: metrics

        font.family: Theme.family
        font.pixelSize: Theme.body
        font.weight: Font.Medium
    }

    Rectangle {
        anchors.fill: parent
        border.color: Theme.hairline
        border.width: 1
        color: Theme.menu
        radius: Theme.panelRadius - 2
    }

    ListView {
        id: list

        anchors.fill: parent
        anchors.margins: 6
        boundsBehavior: Flickable.StopAtBounds
        clip: true
        currentIndex: -1
        highlightFollowsCurrentItem: true
        highlightMoveDuration: 0
        interactive: contentHeight > height
        model: root.model

        delegate: MenuLine {
            hasMarks: root.lines.hasMarks
            isHighlighted: ListView.isCurrentItem
            width: ListView.view.width

            onChosen: root.choose(index)
            onHovered: place => root.pointAt(isEnabled ? index : -1, place)
        }
    }
}
