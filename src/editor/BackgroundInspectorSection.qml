pragma ComponentBehavior: Bound

import QtQuick
import QtQuick.Layouts
import Varnelle.Editor
import Varnelle.Ui

InspectorSection {
    id: root

    required property InspectorModel model

    subtitle: qsTr("Customize the canvas background and scene properties.")
    systemImage: "square.grid.2x2"
    title: qsTr("Background")

    onVisibleChanged: if (visible)
        model.wallpapers.loadPictures()

    Repeater {
        model: root.model.backgroundSliders

        InspectorSliderRow {
            required property InspectorSlider modelData

            model: modelData
        }
    }

    RowLayout {
        Layout.fillWidth: true
        spacing: 8

        Icon {
            color: Theme.secondaryText
            name: "photo.on.rectangle"
            size: 15
        }

        Text {
            Layout.fillWidth: true
            color: Theme.text
            font.family: Theme.family
            font.pixelSize: Theme.body
            font.weight: Font.Medium
            text: qsTr("Wallpaper")
        }

        Repeater {
            model: root.model.wallpapers.categories

            AppSegment {
                required property int index
                required property string modelData

                isChosen: root.model.wallpapers.activeCategory === index
                objectName: "category" + modelData
                text: modelData

                onPressed: root.model.wallpapers.activeCategory = index
            }
        }
    }

    Grid {
        id: grid

        readonly property int cell: 46

        Accessible.name: qsTr("Wallpapers")
        Accessible.role: Accessible.List
        Layout.fillWidth: true
        columnSpacing: (width - columns * cell) / Math.max(1, columns - 1)
        columns: Math.max(1, Math.floor((width + 4) / (cell + 4)))
        rowSpacing: 6

        Repeater {
            model: root.model.wallpapers

            WallpaperCell {
                height: grid.cell
                width: grid.cell

                onPressed: root.model.wallpapers.choose(index)
            }
        }
    }
}
