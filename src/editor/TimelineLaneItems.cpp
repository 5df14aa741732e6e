#include "editor/TimelineLaneItems.h"

#include <QPainterPath>
#include <algorithm>
#include <cmath>
#include <utility>

#include "app/DurationFormat.h"

namespace varnelle {
namespace {

constexpr double kClipVerticalInset = 1;
constexpr double kCornerRadius = 7;
/// Between neighbouring blocks, which touch in time.
constexpr double kBlockGap = 1.5;
/// A narrower block is a plain bar.
constexpr double kBarWidth = 12;
constexpr double kHandleInset = 4;
constexpr double kHandleThickness = 3;
constexpr double kHandleHeight = 20;
constexpr double kTextMargin = 7;
constexpr double kTextPixels = 10;
/// How far blocks are drawn beyond what is seen: painters don't count to a million.
constexpr double kBeyond = 100;
/// In a narrower block pictures and sound can't be told.
constexpr double kMinimumPicturedWidth = 12;
/// A narrower zoom-pan clip doesn't say what it is.
constexpr double kMinimumNamedWidth = 124;
constexpr double kWaveformHeight = 15;
constexpr double kBarStep = 3;
constexpr double kBarThickness = 2;
/// Makes what is quiet visible, as ears hear it.
constexpr double kLoudnessExponent = 0.6;

constexpr QColor kLane{0x12, 0x13, 0x17};
constexpr QColor kClipTop{0x3b, 0x40, 0x56};
constexpr QColor kClipBottom{0x2c, 0x30, 0x42};
constexpr QColor kWaveform{0x9f, 0xc7, 0xff, 0xe0};
constexpr QColor kSelection{0x8f, 0x88, 0xff};
constexpr QColor kZoomTop{0x57, 0x4d, 0xd6};
constexpr QColor kZoomBottom{0x43, 0x3a, 0xb4};
constexpr QColor kZoomHoveredTop{0x64, 0x5a, 0xe4};
constexpr QColor kZoomHoveredBottom{0x4e, 0x45, 0xc4};

QColor white(double opacity) {
    return QColor::fromRgbF(1, 1, 1, static_cast<float>(opacity));
}

QFont blockFont() {
    QFont font("Inter");
    font.setPixelSize(static_cast<int>(kTextPixels));
    font.setWeight(QFont::DemiBold);
    return font;
}

QLinearGradient verticalGradient(const QRectF& rect, const QColor& top, const QColor& bottom) {
    QLinearGradient gradient(rect.topLeft(), rect.bottomLeft());
    gradient.setColorAt(0, top);
    gradient.setColorAt(1, bottom);
    return gradient;
}

double cornerRadius(const QRectF& block) {
    return std::min(kCornerRadius, block.width() / 3);
}

/// Gives a block that was drawn as a rectangle its round corners: a clip would leave them jagged.
void roundCorners(QPainter& painter, const QRectF& block) {
    const double radius = cornerRadius(block);
    QPainterPath corners;
    corners.setFillRule(Qt::OddEvenFill);
    corners.addRect(block);
    corners.addRoundedRect(block, radius, radius);
    painter.fillPath(corners, kLane);
}

void paintEdge(QPainter& painter, const QRectF& block, bool isSelected, bool isHovered) {
    const double thickness = isSelected ? 2 : 1;
    const QColor color = isSelected ? kSelection : white(isHovered ? 0.42 : 0.14);
    const QRectF inner = block.adjusted(thickness / 2, thickness / 2, -thickness / 2, -thickness / 2);
    const double radius = std::max(0.0, cornerRadius(block) - thickness / 2);
    painter.setPen(QPen(color, thickness));
    painter.setBrush(Qt::NoBrush);
    painter.drawRoundedRect(inner, radius, radius);
}

void paintHandles(QPainter& painter, const QRectF& block) {
    const double top = block.center().y() - kHandleHeight / 2;
    for (const double x : {block.left() + kHandleInset, block.right() - kHandleInset - kHandleThickness}) {
        const QRectF grip(x, top, kHandleThickness, kHandleHeight);
        painter.setPen(Qt::NoPen);
        painter.setBrush(QColor(0, 0, 0, 110));
        painter.drawRoundedRect(grip.adjusted(-1, -1, 1, 1), 2.5, 2.5);
        painter.setBrush(white(0.95));
        painter.drawRoundedRect(grip, 1.5, 1.5);
    }
}

/// A text at the right end of a block, on a shade that keeps it legible.
void paintDuration(QPainter& painter, const QRectF& block, const QString& text) {
    painter.setFont(blockFont());
    const double width = QFontMetricsF(painter.font()).horizontalAdvance(text);
    const QRectF pill(block.right() - width - 2 * kTextMargin - 6, block.top() + 5, width + 10, 15);
    painter.setPen(Qt::NoPen);
    painter.setBrush(QColor(8, 9, 12, 170));
    painter.drawRoundedRect(pill, 4, 4);
    painter.setPen(white(0.92));
    painter.drawText(pill, Qt::AlignCenter, text);
}

/// The spans that lie in sight.
template <typename Paint>
void forEachVisible(const std::vector<TimelineSpan>& spans, const TimelineModel& model, double width,
                    const Paint& paint) {
    const double from = model.secondsAt(0);
    const double to = model.secondsAt(width);
    for (const TimelineSpan& span : spans) {
        if (span.start > to) break;
        if (span.end() >= from) paint(span);
    }
}

}  // namespace

void TimelineClipLaneItem::watch(TimelineModel& model) {
    TimelineStripItem::watch(model);
    const auto again = [this] { redraw(); };
    connect(&model, &TimelineModel::contentChanged, this, again);
    connect(&model, &TimelineModel::selectionChanged, this, again);
    connect(&model, &TimelineModel::hoveredClipChanged, this, again);
    connect(&model, &TimelineModel::isCutModeChanged, this, again);
    connect(&model, &TimelineModel::picturesChanged, this, again);
}

void TimelineClipLaneItem::paintStrip(QPainter& painter, const TimelineModel& model) {
    painter.fillRect(QRectF(0, 0, width(), height()), kLane);
    forEachVisible(model.primarySpans(), model, width(),
                   [&](const TimelineSpan& span) { paintClip(painter, model, span); });
    if (model.filmStrips() != nullptr) model.filmStrips()->want(std::exchange(missingPictures_, {}));
}

void TimelineClipLaneItem::paintClip(QPainter& painter, const TimelineModel& model,
                                     const TimelineSpan& span) {
    const double left = snapped(std::max(model.viewX(span.start), -kBeyond));
    const double right =
        snapped(std::clamp(model.viewX(span.end()) - kBlockGap, left + 1, width() + kBeyond));
    const QRectF block(left, kClipVerticalInset, right - left, height() - 2 * kClipVerticalInset);
    const bool isSelected = model.selectedClipID() == span.clipID;
    const bool isHovered = model.hoveredClipID() == span.clipID;
    if (block.width() < kBarWidth) {
        painter.fillRect(block, isSelected ? kSelection : isHovered ? white(0.4) : kClipTop);
        return;
    }
    painter.setRenderHint(QPainter::Antialiasing, false);
    painter.fillRect(block, verticalGradient(block, kClipTop, kClipBottom));
    if (block.width() >= kMinimumPicturedWidth) {
        if (model.filmStrips() != nullptr) paintPictures(painter, model, span, block);
        if (model.waveforms() != nullptr) paintWaveform(painter, model, span, block);
    }
    painter.setRenderHint(QPainter::Antialiasing);
    roundCorners(painter, block);
    paintEdge(painter, block, isSelected, isHovered);
    const bool hasHandles = (isSelected || isHovered) && !model.isCutMode() &&
                            block.width() >= TimelineLayout::minWidthToShowHandles;
    if (hasHandles) paintHandles(painter, block);
    // A text stays in sight as long as its block does.
    const QRectF seen = block & boundingRect();
    if (seen.width() >= TimelineLayout::minWidthToShowDuration) {
        paintDuration(painter, seen, QString::fromStdString(durationWithTenths(span.duration)));
    }
}

void TimelineClipLaneItem::paintPictures(QPainter& painter, const TimelineModel& model,
                                         const TimelineSpan& span, const QRectF& block) {
    FilmStripCache& strips = *model.filmStrips();
    const double clipX = model.viewX(span.start);
    const double tileWidth = block.height() * strips.aspectRatio(span.source);
    const double tileSeconds = tileWidth / model.pixelsPerSecond();
    // Grids that halve into one another let a zoom use again most of what is there.
    const double halvings = std::floor(std::log2(tileSeconds / FilmStripCache::kPictureSeconds));
    const auto grid = static_cast<std::int64_t>(std::exp2(std::max(0.0, halvings)));
    const double gridSeconds = static_cast<double>(grid) * FilmStripCache::kPictureSeconds;
    painter.save();
    painter.setClipRect(block);
    painter.setRenderHint(QPainter::SmoothPixmapTransform);
    const auto firstTile = static_cast<int>(std::max(0.0, std::floor(-clipX / tileWidth)));
    for (int tile = firstTile;; ++tile) {
        const double left = clipX + tile * tileWidth;
        if (left >= std::min(block.right(), width())) break;
        const double seconds = span.sourceStart + std::min((tile + 0.5) * tileSeconds, span.duration);
        const FilmStripCache::Key key{span.source,
                                      static_cast<std::int64_t>(std::floor(seconds / gridSeconds)) * grid};
        QImage picture = strips.picture(key);
        if (picture.isNull()) {
            missingPictures_.push_back(key);
            picture = strips.nearestPicture(key);
        }
        if (!picture.isNull()) {
            const double edge = snapped(left);
            painter.drawImage(QRectF(edge, block.top(), snapped(left + tileWidth) - edge, block.height()),
                              picture);
        }
    }
    painter.restore();
}

void TimelineClipLaneItem::paintWaveform(QPainter& painter, const TimelineModel& model,
                                         const TimelineSpan& span, const QRectF& block) {
    const auto waveform = model.waveforms()->waveform(span.source);
    if (!waveform || waveform->peaks.empty()) return;
    const QRectF shade(block.left(), block.bottom() - kWaveformHeight - 6, block.width(),
                       kWaveformHeight + 6);
    QLinearGradient gradient(shade.topLeft(), shade.bottomLeft());
    gradient.setColorAt(0, QColor(10, 11, 16, 0));
    gradient.setColorAt(0.45, QColor(10, 11, 16, 190));
    gradient.setColorAt(1, QColor(10, 11, 16, 220));
    painter.fillRect(shade, gradient);
    // Bars keep to the clip, so that they don't tremble while it scrolls.
    const double clipX = model.viewX(span.start);
    const double barSeconds = kBarStep / model.pixelsPerSecond();
    const double right = std::min(block.right(), width());
    const auto firstBar = static_cast<int>(std::max(0.0, std::floor(-clipX / kBarStep)));
    for (int bar = firstBar; clipX + bar * kBarStep < right; ++bar) {
        const double seconds = span.sourceStart + bar * barSeconds;
        const double loudness = std::pow(waveform->peak(seconds, seconds + barSeconds), kLoudnessExponent);
        const double height = snapped(std::max(1.0, loudness * kWaveformHeight));
        const double left = snapped(clipX + bar * kBarStep);
        const double barWidth = std::min(kBarThickness, right - left);
        painter.fillRect(QRectF(left, snapped(block.bottom() - 3) - height, barWidth, height), kWaveform);
    }
}

void TimelineZoomPanLaneItem::watch(TimelineModel& model) {
    TimelineStripItem::watch(model);
    const auto again = [this] { redraw(); };
    connect(&model, &TimelineModel::contentChanged, this, again);
    connect(&model, &TimelineModel::selectionChanged, this, again);
    connect(&model, &TimelineModel::hoveredClipChanged, this, again);
    connect(&model, &TimelineModel::hoverChanged, this, [this, &model] {
        if (model.zoomPanSpans().empty()) redraw();
    });
}

void TimelineZoomPanLaneItem::paintStrip(QPainter& painter, const TimelineModel& model) {
    painter.fillRect(QRectF(0, 0, width(), height()), kLane);
    if (model.zoomPanSpans().empty() && !model.hasAddButton()) {
        painter.setFont(blockFont());
        painter.setPen(white(0.45));
        painter.drawText(QRectF(0, 0, width(), height()), Qt::AlignCenter,
                         tr("Zoom/Pan: point here and press + to zoom in"));
    }
    forEachVisible(model.zoomPanSpans(), model, width(), [&](const TimelineSpan& span) {
        const double left = snapped(std::max(model.viewX(span.start), -kBeyond));
        const double right = snapped(std::clamp(model.viewX(span.end()), left + 2, width() + kBeyond));
        const QRectF block(left, kClipVerticalInset, right - left, height() - 2 * kClipVerticalInset);
        const bool isSelected = model.selectedZoomPanClipID() == span.clipID;
        const bool isHovered = model.hoveredClipID() == span.clipID;
        const double radius = cornerRadius(block);
        painter.setRenderHint(QPainter::Antialiasing);
        painter.setPen(Qt::NoPen);
        if (block.width() < kBarWidth) {
            painter.setBrush(isSelected ? kSelection : kZoomTop);
            painter.drawRoundedRect(block, radius, radius);
            return;
        }
        painter.setBrush(isHovered ? verticalGradient(block, kZoomHoveredTop, kZoomHoveredBottom)
                                   : verticalGradient(block, kZoomTop, kZoomBottom));
        painter.drawRoundedRect(block, radius, radius);
        paintEdge(painter, block, isSelected, isHovered);
        if ((isSelected || isHovered) && block.width() >= TimelineLayout::minWidthToShowHandles) {
            paintHandles(painter, block);
        }
        const QRectF seen = block & boundingRect();
        if (seen.width() >= TimelineLayout::minWidthToShowDuration) {
            painter.setFont(blockFont());
            painter.setPen(white(0.95));
            const QString length = QString::fromStdString(durationWithTenths(span.duration));
            const QString text = seen.width() < kMinimumNamedWidth ? length : tr("Zoom/Pan  %1").arg(length);
            painter.drawText(seen, Qt::AlignCenter, text);
        }
    });
}

}  // namespace varnelle
