#include "ui/SpringCurve.h"

#include <gtest/gtest.h>

#include <QEasingCurve>
#include <QPointF>
#include <cmath>
#include <numbers>

namespace varnelle {
namespace {

QEasingCurve easing(double response, double dampingFraction) {
    QEasingCurve curve(QEasingCurve::BezierSpline);
    const QVariantList points = SpringCurve::bezierCurve(response, dampingFraction);
    for (int i = 0; i + 5 < points.size(); i += 6) {
        const auto place = [&](int at) { return QPointF(points[at].toDouble(), points[at + 1].toDouble()); };
        curve.addCubicBezierSegment(place(i), place(i + 2), place(i + 4));
    }
    return curve;
}

/// Solves x'' = w^2 (1 - x) - 2 d w x' in small steps.
double simulated(double response, double damping, double seconds) {
    const double w = 2 * std::numbers::pi / response;
    const int steps = 200'000;
    const double dt = seconds / steps;
    double x = 0;
    double v = 0;
    for (int i = 0; i < steps; ++i) {
        v += dt * (w * w * (1 - x) - 2 * damping * w * v);
        x += dt * v;
    }
    return x;
}

TEST(SpringCurve, GoesTheWayOfASpring) {
    for (const auto& [response, damping] :
         {std::pair{0.3, 0.7}, {0.4, 0.8}, {0.35, 0.78}, {0.5, 1.0}, {0.6, 0.6}}) {
        const QEasingCurve curve = easing(response, damping);
        const double seconds = SpringCurve::durationMilliseconds(response, damping) / 1000.0;
        for (const double part : {0.05, 0.11, 0.2, 0.35, 0.5, 0.77, 0.99}) {
            EXPECT_NEAR(curve.valueForProgress(part), simulated(response, damping, part * seconds), 4e-3)
                << response << ", " << damping << " at " << part;
        }
        EXPECT_EQ(curve.valueForProgress(0), 0);
        EXPECT_EQ(curve.valueForProgress(1), 1);
        EXPECT_LT(std::abs(simulated(response, damping, seconds) - 1), 1.5e-3) << "it has come to rest";
    }
}

}  // namespace
}  // namespace varnelle
