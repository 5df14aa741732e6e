#pragma once

#include "editor/TimelineStripItem.h"

namespace varnelle {

/// The primary lane's clips: thumbnails, waveform, length, edges and handles.
class TimelineClipLaneItem : public varnelle::TimelineStripItem {
    Q_OBJECT
    QML_NAMED_ELEMENT(TimelineClipLane)

public:
    using TimelineStripItem::TimelineStripItem;

protected:
    void paintStrip(QPainter& painter, const TimelineModel& model) override;
    void watch(TimelineModel& model) override;

private:
    void paintClip(QPainter& painter, const TimelineModel& model, const TimelineSpan& span);
    void paintPictures(QPainter& painter, const TimelineModel& model, const TimelineSpan& span,
                       const QRectF& block);
    void paintWaveform(QPainter& painter, const TimelineModel& model, const TimelineSpan& span,
                       const QRectF& block);

    std::vector<FilmStripCache::Key> missingPictures_;  ///< of the present paint
};

/// The clips of the "Zoom/Pan" lane.
class TimelineZoomPanLaneItem : public varnelle::TimelineStripItem {
    Q_OBJECT
    QML_NAMED_ELEMENT(TimelineZoomPanLane)

public:
    using TimelineStripItem::TimelineStripItem;

protected:
    void paintStrip(QPainter& painter, const TimelineModel& model) override;
    void watch(TimelineModel& model) override;
};

}  // namespace varnelle
