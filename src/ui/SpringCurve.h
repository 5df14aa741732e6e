#pragma once

#include <QtQml/qqmlregistration.h>
#include <QObject>
#include <QVariantList>

namespace varnelle {

/// The motion of a damped spring that is let go at 0 and comes to rest at 1, for animations of Qt's: exactly
/// the same at every frame rate, unlike a simulation in steps. `response` is the time of one swing of the
/// undamped spring in seconds; `dampingFraction` is between 0 (swings for ever) and 1 (never swings beyond
/// the end), both left out and larger ones taken as 1.
///
/// x(t) = 1 - e^(-d w t) (cos(v t) + d w / v sin(v t)), with w = 2 pi / response, v = w sqrt(1 - d^2).
class SpringCurve : public QObject {
    Q_OBJECT
    QML_ELEMENT
    QML_SINGLETON

public:
    using QObject::QObject;

    /// Until the spring is within a thousandth of its rest.
    Q_INVOKABLE static int durationMilliseconds(double response, double dampingFraction);
    /// The control points of a `BezierSpline` over that time.
    Q_INVOKABLE static QVariantList bezierCurve(double response, double dampingFraction);
};

}  // namespace varnelle
