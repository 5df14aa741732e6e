pragma ComponentBehavior: Bound

import QtQuick
import QtQuick.Layouts
import Varnelle.Editor
import Varnelle.Ui

// The exporting mode: what the movie is to be, its making, the finished movie.
FocusScope {
    id: root

    required property ExportModel model

    Accessible.name: qsTr("Export")
    Accessible.role: Accessible.Pane
    focus: true

    Keys.onEnterPressed: root.model.start()
    Keys.onReturnPressed: root.model.start()

    // Has the keyboard where nothing else wants it.
    Item {
        id: rest

        focus: true
    }

    // The page that goes takes the keyboard along.
    Connections {
        function onPageChanged(): void {
            if (root.visible && root.model.page === ExportModel.Configure)
                rest.forceActiveFocus();
        }

        target: root.model
    }

    TapHandler {
        onTapped: rest.forceActiveFocus()
    }

    FocusFlickable {
        id: configure

        anchors.fill: parent
        contentHeight: page.implicitHeight + 48
        objectName: "configure"
        visible: root.model.page === ExportModel.Configure

        ColumnLayout {
            id: page

            spacing: 18
            width: Math.min(configure.width - 56, 900)
            x: (configure.width - width) / 2
            y: 24

            RowLayout {
                spacing: 18

                AppButton {
                    iconName: "chevron.left"
                    objectName: "backButton"
                    text: qsTr("Editor")

                    onPressed: root.model.backToEditor()
                }

                ColumnLayout {
                    spacing: 3

                    Text {
                        Accessible.name: text
                        Accessible.role: Accessible.Heading
                        color: Theme.text
                        font.family: Theme.family
                        font.pixelSize: 20
                        font.weight: Font.Bold
                        text: qsTr("Export Rendering")
                    }

                    Text {
                        color: Theme.secondaryText
                        font.family: Theme.family
                        font.pixelSize: Theme.body
                        text: qsTr("Preparing your project for final delivery")
                    }
                }
            }

            Rectangle {
                Accessible.name: root.model.errorText
                Accessible.role: Accessible.AlertMessage
                Layout.fillWidth: true
                border.color: Qt.rgba(1, 0.35, 0.3, 0.5)
                border.width: 1
                color: Qt.rgba(1, 0.27, 0.23, 0.14)
                implicitHeight: failure.implicitHeight + 24
                objectName: "failureBanner"
                radius: 10
                visible: root.model.errorText !== ""

                Icon {
                    id: failureIcon

                    anchors.verticalCenter: parent.verticalCenter
                    color: Theme.recording
                    name: "exclamationmark.octagon.fill"
                    size: 20
                    x: 14
                }

                Text {
                    id: failure

                    anchors.left: failureIcon.right
                    anchors.leftMargin: 12
                    anchors.right: parent.right
                    anchors.rightMargin: 14
                    anchors.verticalCenter: parent.verticalCenter
                    color: Theme.text
                    font.family: Theme.family
                    font.pixelSize: Theme.body
                    text: root.model.errorText
                    textFormat: Text.PlainText
                    wrapMode: Text.Wrap
                }
            }

            RowLayout {
                spacing: 18

                ColumnLayout {
                    Layout.alignment: Qt.AlignTop
                    Layout.fillWidth: true
                    Layout.preferredWidth: 1
                    spacing: 18

                    ExportCard {
                        systemImage: "arrow.up.right.video.fill"
                        title: qsTr("Output Delivery")

                        ColumnLayout {
                            spacing: 6

                            Text {
                                color: Theme.secondaryText
                                font.family: Theme.family
                                font.pixelSize: 12
                                text: qsTr("Filename")
                            }

                            TextBox {
                                Layout.fillWidth: true
                                accessibleName: qsTr("Filename")
                                objectName: "filename"
                                emptyText: qsTr("Enter filename...")
                                value: root.model.filename

                                onCommitted: text => root.model.filename = text
                                onEdited: text => root.model.filename = text
                            }

                            Text {
                                Layout.fillWidth: true
                                color: Theme.secondaryText
                                elide: Text.ElideMiddle
                                font.family: Theme.family
                                font.pixelSize: Theme.caption
                                text: root.model.destination
                                textFormat: Text.PlainText
                            }
                        }
                    }

                    ExportCard {
                        systemImage: "square.grid.2x2"
                        title: qsTr("Technical Configuration")

                        Repeater {
                            model: root.model.technicalRows

                            RowLayout {
                                id: row

                                required property var modelData

                                Accessible.name: modelData.title + ": " + modelData.value
                                Accessible.role: Accessible.StaticText
                                Layout.fillWidth: true

                                Text {
                                    Layout.fillWidth: true
                                    color: Theme.secondaryText
                                    font.family: Theme.family
                                    font.pixelSize: Theme.body
                                    text: row.modelData.title
                                }

                                Text {
                                    color: Theme.text
                                    font.family: Theme.family
                                    font.pixelSize: Theme.body
                                    font.weight: Font.Medium
                                    text: row.modelData.value
                                }
                            }
                        }

                        Rectangle {
                            Layout.fillWidth: true
                            color: Theme.hairline
                            implicitHeight: 1
                        }

                        InspectorToggleRow {
                            isOn: root.model.includeAudio
                            systemImage: "speaker.wave.2"
                            title: qsTr("Include Audio Track")

                            onToggled: root.model.toggleAudio()
                        }
                    }
                }

                ColumnLayout {
                    Layout.alignment: Qt.AlignTop
                    Layout.fillWidth: true
                    Layout.preferredWidth: 1
                    spacing: 8

                    Text {
                        Layout.bottomMargin: 2
                        Layout.topMargin: 4
                        color: Theme.secondaryText
                        font.family: Theme.family
                        font.letterSpacing: 0.8
                        font.pixelSize: Theme.caption
                        font.weight: Font.DemiBold
                        text: qsTr("EXPORT PRESETS")
                    }

                    Repeater {
                        model: root.model.presets

                        PresetListItem {
                            required property int index
                            required property var modelData

                            Layout.fillWidth: true
                            isSelected: modelData.isSelected
                            objectName: "preset" + index
                            subtitle: modelData.subtitle
                            symbol: modelData.symbol
                            title: modelData.title

                            onPressed: root.model.selectPreset(index)
                        }
                    }
                }
            }

            RowLayout {
                Layout.topMargin: 4

                Text {
                    Accessible.name: text + " " + root.model.totalDuration
                    Accessible.role: Accessible.StaticText
                    color: Theme.secondaryText
                    font.family: Theme.family
                    font.pixelSize: Theme.body
                    text: qsTr("Total Video Duration")
                }

                TimerText {
                    Layout.fillWidth: true
                    Layout.leftMargin: 6
                    text: root.model.totalDuration
                }

                AppButton {
                    iconName: "sparkle.square.fill.on.square"
                    implicitHeight: 40
                    isProminent: true
                    objectName: "renderButton"
                    text: qsTr("Render Project")

                    onPressed: root.model.start()
                }
            }
        }
    }

    ScrollMark {
        flickable: configure
    }

    ExportRenderingPage {
        anchors.centerIn: parent
        model: root.model
        visible: root.model.page === ExportModel.Rendering
    }

    ExportDonePage {
        anchors.centerIn: parent
        model: root.model
        visible: root.model.page === ExportModel.Done
        width: Math.min(parent.width - 56, 520)
    }
}
