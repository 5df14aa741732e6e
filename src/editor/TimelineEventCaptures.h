#pragma once

#include <QtQml/qqmlregistration.h>
#include <QPointer>
#include <QQuickItem>
#include <QQuickWindow>

namespace varnelle {

/// Hears what is sent to its window before anything else there does. Main thread.
class TimelineEventCapture : public QQuickItem {
    Q_OBJECT
    QML_ANONYMOUS

public:
    using QQuickItem::QQuickItem;

protected:
    void itemChange(ItemChange change, const ItemChangeData& value) override;
    bool eventFilter(QObject* target, QEvent* event) override;
    /// Whether the event was meant for here and goes no further.
    virtual bool take(QEvent& event) = 0;

private:
    QPointer<QQuickWindow> monitored_;
};

/// Delete and Backspace without modifiers, wherever in the window the keyboard is, except while a text is
/// edited. Nothing before the user has worked in the lanes.
class TimelineDeleteKeyCapture : public varnelle::TimelineEventCapture {
    Q_OBJECT
    QML_ELEMENT
    Q_PROPERTY(int activationRequestID MEMBER activationRequestID_ NOTIFY conditionsChanged)
    Q_PROPERTY(bool canDelete MEMBER canDelete_ NOTIFY conditionsChanged)

signals:
    void conditionsChanged();
    void deleteRequested();

protected:
    bool take(QEvent& event) override;

private:
    int activationRequestID_ = 0;
    bool canDelete_ = false;
};

/// Scrolling over the item with Control, Alt or Meta.
class TimelineModifierScrollZoomCapture : public varnelle::TimelineEventCapture {
    Q_OBJECT
    QML_ELEMENT

signals:
    /// In points, positive for a wheel that turns away from the user; `x` is the pointer's.
    void zoomDelta(double delta, double x);

protected:
    bool take(QEvent& event) override;
};

}  // namespace varnelle
