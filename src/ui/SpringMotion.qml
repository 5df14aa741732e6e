import QtQuick
import Varnelle.Ui

// A number's way to its new value as a damped spring goes it.
NumberAnimation {
    property real response: 0.3
    property real dampingFraction: 0.7

    duration: SpringCurve.durationMilliseconds(response, dampingFraction)
    easing.bezierCurve: SpringCurve.bezierCurve(response, dampingFraction)
    easing.type: Easing.BezierSpline
}
