pragma Singleton
import QtQuick

// Colours, sizes and motion of everything that the program shows. Dark throughout; texts keep a contrast of at
// least 4.5 to 1 on every surface that they are put on.
QtObject {
    // Surfaces, from the deepest to the nearest.
    readonly property color canvas: "#0f1013"
    readonly property color window: "#16171b"
    readonly property color panel: "#1d1f25"
    readonly property color raised: "#282b33"
    readonly property color hovered: "#31353f"
    readonly property color pressed: "#3a3f4b"
    // Panels that float over the user's desktop.
    readonly property color floating: Qt.rgba(0.075, 0.08, 0.1, 0.92)
    readonly property color menu: "#212329"
    readonly property color hairline: Qt.rgba(1, 1, 1, 0.1)

    readonly property color text: "#f4f5f7"
    readonly property color secondaryText: "#a9adb8"
    readonly property color disabledText: "#8f939e"

    readonly property color accent: Qt.rgba(0.35, 0.3, 0.95, 1)
    readonly property color accentHovered: Qt.rgba(0.39, 0.34, 0.96, 1)
    readonly property color accentPressed: Qt.rgba(0.29, 0.24, 0.86, 1)
    readonly property color focusRing: "#a7a1ff"
    readonly property color recording: "#ff584e"
    readonly property color success: "#3ddc84"
    readonly property color warning: "#ffc53d"

    readonly property string family: "Inter"
    readonly property int caption: 11
    readonly property int body: 13
    readonly property int label: 14
    readonly property int title: 18
    readonly property int headline: 24

    readonly property int gap: 8
    readonly property int margin: 16
    readonly property int controlHeight: 32
    readonly property int menuLineHeight: 28
    readonly property int menuDividerHeight: 11
    readonly property int radius: 8
    readonly property int panelRadius: 14

    // Milliseconds.
    readonly property int quick: 120
    readonly property int normal: 200
    readonly property int calm: 280
}
