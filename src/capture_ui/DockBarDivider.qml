import QtQuick

Rectangle {
    color: Qt.rgba(1, 1, 1, 0.2)
    implicitHeight: 24
    implicitWidth: 1
}
