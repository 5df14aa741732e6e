#pragma once

#include <QtQml/qqmlregistration.h>
#include <QPainter>
#include <QPointer>
#include <QQuickPaintedItem>

#include "editor/TimelineModel.h"

namespace varnelle {

/// A band of the timeline's strip, as wide as what is seen of it: it draws what lies in sight and nothing
/// else, so that its cost doesn't grow with the project. Main thread.
class TimelineStripItem : public QQuickPaintedItem {
    Q_OBJECT
    QML_ANONYMOUS
    Q_PROPERTY(varnelle::TimelineModel* model READ model WRITE setModel NOTIFY modelChanged REQUIRED)

public:
    explicit TimelineStripItem(QQuickItem* parent = nullptr);

    [[nodiscard]] TimelineModel* model() const { return model_; }
    void setModel(TimelineModel* model);
    void paint(QPainter* painter) final;

signals:
    void modelChanged();

protected:
    virtual void paintStrip(QPainter& painter, const TimelineModel& model) = 0;
    /// What of the view has changed that this band shows.
    virtual void watch(TimelineModel& model);
    void redraw() { update(); }

    [[nodiscard]] double devicePixelRatio() const;
    /// The nearest edge between device pixels.
    [[nodiscard]] double snapped(double points) const;

private:
    QPointer<TimelineModel> model_;
};

/// The ruler's ticks and labels.
class TimelineRulerItem : public varnelle::TimelineStripItem {
    Q_OBJECT
    QML_NAMED_ELEMENT(TimelineRuler)

public:
    using TimelineStripItem::TimelineStripItem;

protected:
    void paintStrip(QPainter& painter, const TimelineModel& model) override;
};

/// The playhead's head: a balloon whose tip points down at the line.
class PlayheadBalloonShape : public QQuickPaintedItem {
    Q_OBJECT
    QML_ELEMENT
    Q_PROPERTY(QColor color MEMBER color_ NOTIFY colorChanged)

public:
    explicit PlayheadBalloonShape(QQuickItem* parent = nullptr);
    void paint(QPainter* painter) override;

signals:
    void colorChanged();

private:
    QColor color_ = Qt::white;
};

}  // namespace varnelle
