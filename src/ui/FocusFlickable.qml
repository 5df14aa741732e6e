import QtQuick

// A flickable that brings what the keyboard has come to into sight.
Flickable {
    id: root

    readonly property real revealMargin: 12

    function reveal(item: Item): void {
        if (item === null || !contains(item))
            return;
        const top = item.mapToItem(contentItem, 0, 0).y;
        if (top < contentY)
            contentY = Math.max(0, top - revealMargin);
        else if (top + item.height > contentY + height)
            contentY = Math.min(contentHeight - height, top + item.height - height + revealMargin);
    }

    function contains(item: Item): bool {
        for (let ancestor = item; ancestor !== null; ancestor = ancestor.parent) {
            if (ancestor === contentItem)
                return true;
        }
        return false;
    }

    boundsBehavior: Flickable.StopAtBounds
    interactive: contentHeight > height

    Connections {
        function onActiveFocusItemChanged(): void {
            root.reveal(root.Window.activeFocusItem);
        }

        target: root.Window.window
    }
}
