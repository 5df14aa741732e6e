import QtQuick

// Moves the window that it is in. Each step is measured from where the press was, which moves along.
DragHandler {
    target: null

    onCentroidChanged: {
        if (!active)
            return;
        const window = parent.Window.window;
        window.x += Math.round(centroid.scenePosition.x - centroid.scenePressPosition.x);
        window.y += Math.round(centroid.scenePosition.y - centroid.scenePressPosition.y);
    }
}
