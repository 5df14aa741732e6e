import QtQuick
import Varnelle.CaptureUi
import Varnelle.Ui

// The button of a kind of source. One with a menu leaves the choice to that.
Pressable {
    id: root

    required property DockBarItem item

    accessibleName: item.label
    accessibleRole: item.menu ? Accessible.ButtonMenu : Accessible.Button
    implicitHeight: label.implicitHeight
    implicitWidth: label.implicitWidth
    isCheckable: true
    isChecked: item.isOn
    ringRadius: 14

    SourceModeButtonLabelView {
        id: label

        anchors.fill: parent
        icon: root.item.icon
        isDown: root.isDown
        isHovered: root.isHovered
        isSelected: root.isChecked
        label: root.item.label
    }
}
