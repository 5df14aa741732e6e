#include "editor/TimelineEventCaptures.h"

#include <QKeyEvent>
#include <QWheelEvent>

namespace varnelle {
namespace {

/// Wheels report eighths of a degree; a degree counts as a point.
constexpr double kAnglePerPoint = 8;
/// In the state that X11 and XKB give with a key; the toolkit has no name for it.
constexpr quint32 kCapsLock = 2;

/// Away from the user is positive, which zooms in: the way that hands know from all programs here.
double scrolledPoints(const QWheelEvent& event) {
    // X11 turns the wheel sideways while Alt is held.
    if (!event.pixelDelta().isNull()) {
        const QPoint delta = event.pixelDelta();
        return delta.y() != 0 ? delta.y() : delta.x();
    }
    const QPoint delta = event.angleDelta();
    return (delta.y() != 0 ? delta.y() : delta.x()) / kAnglePerPoint;
}

}  // namespace

void TimelineEventCapture::itemChange(ItemChange change, const ItemChangeData& value) {
    if (change == ItemSceneChange) {
        if (monitored_) monitored_->removeEventFilter(this);
        monitored_ = value.window;
        if (monitored_) monitored_->installEventFilter(this);
    }
    QQuickItem::itemChange(change, value);
}

bool TimelineEventCapture::eventFilter(QObject* target, QEvent* event) {
    return target == monitored_ && isVisible() && isEnabled() && take(*event);
}

bool TimelineDeleteKeyCapture::take(QEvent& event) {
    if (event.type() != QEvent::KeyPress) return false;
    const auto& key = static_cast<QKeyEvent&>(event);
    if (key.key() != Qt::Key_Delete && key.key() != Qt::Key_Backspace) return false;
    // The keypad's own Delete is one, too.
    const bool hasModifiers = (key.modifiers() & ~Qt::KeypadModifier) != Qt::NoModifier;
    if (hasModifiers || (key.nativeModifiers() & kCapsLock) != 0) return false;
    if (!canDelete_ || activationRequestID_ < 1) return false;
    const QQuickItem* focused = window()->activeFocusItem();
    const bool isEditingText = focused != nullptr && focused->flags().testFlag(ItemAcceptsInputMethod);
    if (isEditingText) return false;
    // A key that is held deletes one clip, not one after the other.
    if (!key.isAutoRepeat()) emit deleteRequested();
    return true;
}

bool TimelineModifierScrollZoomCapture::take(QEvent& event) {
    if (event.type() != QEvent::Wheel) return false;
    const auto& wheel = static_cast<QWheelEvent&>(event);
    if (!(wheel.modifiers() & (Qt::ControlModifier | Qt::AltModifier | Qt::MetaModifier))) return false;
    const QPointF place = mapFromScene(wheel.position());
    if (!contains(place)) return false;
    emit zoomDelta(scrolledPoints(wheel), place.x());
    return true;
}

}  // namespace varnelle
