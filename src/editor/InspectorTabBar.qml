pragma ComponentBehavior: Bound

import QtQuick
import Varnelle.Editor
import Varnelle.Ui

// The four tabs, with one highlight that moves between them.
Item {
    id: root

    required property InspectorModel model
    readonly property real tabWidth: width / 4

    Accessible.name: qsTr("Inspector tabs")
    Accessible.role: Accessible.PageTabList
    implicitHeight: 52

    Rectangle {
        anchors.fill: parent
        color: Theme.window
        radius: 9
    }

    Rectangle {
        color: Theme.raised
        height: parent.height - 6
        radius: 7
        width: root.tabWidth - 6
        x: 3 + root.model.activeTab * root.tabWidth
        y: 3

        Behavior on x  {
            NumberAnimation {
                duration: Theme.normal
                easing.type: Easing.OutCubic
            }
        }
    }

    Repeater {
        model: root.model.tabs

        Pressable {
            id: tab

            required property int index
            required property var modelData
            readonly property bool isActive: root.model.activeTab === index

            accessibleName: modelData.title
            accessibleRole: Accessible.PageTab
            height: root.height
            isCheckable: true
            isChecked: isActive
            objectName: "tab" + modelData.title
            width: root.tabWidth
            x: index * root.tabWidth

            onPressed: root.model.activeTab = index

            Icon {
                anchors.horizontalCenter: parent.horizontalCenter
                color: label.color
                name: tab.modelData.symbol
                size: 17
                y: 9
            }

            Text {
                id: label

                anchors.horizontalCenter: parent.horizontalCenter
                color: tab.isActive || tab.isHovered ? Theme.text : Theme.secondaryText
                font.family: Theme.family
                font.pixelSize: 10
                font.weight: Font.DemiBold
                text: tab.modelData.title
                y: 31
            }
        }
    }
}
