#include "editor/TimelineStripItem.h"

#include <QFontDatabase>
#include <QPainterPath>
#include <QQuickWindow>
#include <cmath>

namespace varnelle {
namespace {

constexpr int kLabelPixels = 10;
constexpr double kLabelOpacity = 0.58;
constexpr double kOriginOpacity = 0.44;
constexpr double kMajorOpacity = 0.18;
constexpr double kMinorOpacity = 0.1;
constexpr double kMajorTickTop = 7;
constexpr double kMinorTickHeight = 5;
constexpr double kLabelGap = 5;
constexpr double kLabelBaseline = 16;
/// A label may begin left of the strip and reach into it.
constexpr double kLabelReach = 92;

QColor rulerColor(double opacity) {
    return QColor::fromRgbF(1, 1, 1, static_cast<float>(opacity));
}

QFont labelFont() {
    QFont font = QFontDatabase::systemFont(QFontDatabase::FixedFont);
    font.setPixelSize(kLabelPixels);
    font.setWeight(QFont::DemiBold);
    return font;
}

}  // namespace

TimelineStripItem::TimelineStripItem(QQuickItem* parent) : QQuickPaintedItem(parent) {
    connect(this, &QQuickItem::widthChanged, this, [this] { update(); });
}

void TimelineStripItem::setModel(TimelineModel* model) {
    if (model_ == model) return;
    if (model_) model_->disconnect(this);
    model_ = model;
    if (model_) watch(*model_);
    emit modelChanged();
    update();
}

void TimelineStripItem::watch(TimelineModel& model) {
    const auto again = [this] { update(); };
    connect(&model, &TimelineModel::layoutChanged, this, again);
    connect(&model, &TimelineModel::scrollXChanged, this, again);
}

void TimelineStripItem::paint(QPainter* painter) {
    if (model_) paintStrip(*painter, *model_);
}

double TimelineStripItem::devicePixelRatio() const {
    return window() != nullptr ? window()->effectiveDevicePixelRatio() : 1;
}

double TimelineStripItem::snapped(double points) const {
    const double ratio = devicePixelRatio();
    return std::round(points * ratio) / ratio;
}

void TimelineRulerItem::paintStrip(QPainter& painter, const TimelineModel& model) {
    const TimelineRulerMetrics metrics = model.rulerMetrics();
    const double line = 1 / devicePixelRatio() * std::max(1.0, std::floor(devicePixelRatio()));
    const double from = model.secondsAt(-kLabelReach);
    const double to = model.secondsAt(width());
    const auto tick = [&](double seconds, double top, const QColor& color) {
        painter.fillRect(QRectF(snapped(model.viewX(seconds)), top, line, height() - top), color);
    };
    for (const double seconds : metrics.minorTicks(from, to)) {
        tick(seconds, height() - kMinorTickHeight, rulerColor(kMinorOpacity));
    }
    painter.setFont(labelFont());
    for (const double seconds : metrics.majorTicks(from, to)) {
        tick(seconds, kMajorTickTop, rulerColor(seconds == 0 ? kOriginOpacity : kMajorOpacity));
        painter.setPen(rulerColor(kLabelOpacity));
        const QString label = QString::fromStdString(metrics.label(seconds));
        const double labelWidth = QFontMetricsF(painter.font()).horizontalAdvance(label);
        const double x = snapped(model.viewX(seconds));
        // At the end of the strip there is room only before the tick.
        const bool isCutOff = x + kLabelGap + labelWidth > width();
        painter.drawText(QPointF(isCutOff ? x - kLabelGap - labelWidth : x + kLabelGap, kLabelBaseline),
                         label);
    }
}

PlayheadBalloonShape::PlayheadBalloonShape(QQuickItem* parent) : QQuickPaintedItem(parent) {
    setAntialiasing(true);
    connect(this, &PlayheadBalloonShape::colorChanged, this, [this] { update(); });
}

void PlayheadBalloonShape::paint(QPainter* painter) {
    const double w = width();
    const double h = height();
    const double radius = w / 3;
    const double shoulder = h * 0.55;
    QPainterPath path;
    path.moveTo(radius, 0);
    path.lineTo(w - radius, 0);
    path.quadTo(w, 0, w, radius);
    path.lineTo(w, shoulder);
    path.cubicTo(w, h * 0.78, w * 0.58, h * 0.86, w / 2, h);
    path.cubicTo(w * 0.42, h * 0.86, 0, h * 0.78, 0, shoulder);
    path.lineTo(0, radius);
    path.quadTo(0, 0, radius, 0);
    painter->setRenderHint(QPainter::Antialiasing);
    painter->fillPath(path, color_);
}

}  // namespace varnelle
