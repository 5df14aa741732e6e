import QtQuick
import QtQuick.Layouts
import Varnelle.Editor
import Varnelle.Ui

InspectorSection {
    id: root

    required property InspectorModel model
    readonly property bool hasAudio: model.hasSystemAudio || model.hasMicrophoneAudio

    notice: hasAudio ? "" : model.audioNote + " " + qsTr("This recording does not contain any captured audio tracks.")
    subtitle: qsTr("Turn sources on or off to control what stays in preview and export.")
    systemImage: "speaker.wave.2"
    title: qsTr("Audio")

    Text {
        color: Theme.text
        font.family: Theme.family
        font.pixelSize: Theme.body
        font.weight: Font.DemiBold
        text: qsTr("Included Sources")
    }

    InspectorToggleRow {
        description: root.model.systemSoundDescription
        enabled: root.model.hasSystemAudio
        isOn: root.model.includesSystemSound
        systemImage: "speaker.wave.2.fill"
        title: qsTr("System Sound")

        onToggled: root.model.toggleSystemSound()
    }

    InspectorToggleRow {
        description: root.model.microphoneDescription
        enabled: root.model.hasMicrophoneAudio
        isOn: root.model.includesMicrophone
        systemImage: "mic.fill"
        title: qsTr("Microphone")

        onToggled: root.model.toggleMicrophone()
    }

    Text {
        Layout.fillWidth: true
        color: Theme.secondaryText
        font.family: Theme.family
        font.pixelSize: 12
        lineHeight: 1.15
        text: root.model.audioNote
        wrapMode: Text.Wrap
    }
}
