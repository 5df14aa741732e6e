#pragma once

#include <QtQml/qqmlregistration.h>
#include <QObject>
#include <QPointF>
#include <QRectF>
#include <optional>

#include "app/CaptureSources.h"
#include "capture_ui/AreaSelectionGeometry.h"

namespace varnelle {

/// The rectangle to record, as the mouse draws, moves and resizes it in a view that covers the selected
/// display. The view's places are points from its top left corner. Main thread.
class AreaSelectionModel final : public QObject {
    Q_OBJECT
    QML_ELEMENT
    QML_UNCREATABLE("belongs to the capture interface")
    Q_PROPERTY(bool isEnabled READ isEnabled WRITE setEnabled NOTIFY isEnabledChanged)
    Q_PROPERTY(QRectF overlayRect READ overlayRect NOTIFY selectionChanged)
    Q_PROPERTY(bool hasOverlay READ hasOverlay NOTIFY selectionChanged)
    Q_PROPERTY(double overlayOpacity READ overlayOpacity NOTIFY selectionChanged)
    Q_PROPERTY(bool canStart READ canStart NOTIFY selectionChanged)
    Q_PROPERTY(QString sizeText READ sizeText NOTIFY selectionChanged)
    Q_PROPERTY(Qt::CursorShape cursorShape READ cursorShape NOTIFY cursorShapeChanged)

public:
    /// `sources` keeps the rectangle and must outlive the object.
    explicit AreaSelectionModel(CaptureSources& sources);

    [[nodiscard]] bool isEnabled() const { return _isEnabled; }
    void setEnabled(bool isEnabled);
    [[nodiscard]] std::optional<CGRect> selectedScreenRect() const { return sources_.selectedAreaRect(); }
    [[nodiscard]] const std::optional<Interaction>& interaction() const { return interaction_; }

    /// What of the rectangle lies in the view; empty if nothing does.
    [[nodiscard]] QRectF overlayRect() const;
    [[nodiscard]] bool hasOverlay() const { return !overlayRect().isEmpty(); }
    [[nodiscard]] double overlayOpacity() const;
    /// Whether the rectangle can be recorded.
    [[nodiscard]] bool canStart() const;
    /// Width and height in whole points.
    [[nodiscard]] QString sizeText() const;
    [[nodiscard]] Qt::CursorShape cursorShape() const { return _cursorShape; }

    Q_INVOKABLE void press(QPointF viewPoint);
    Q_INVOKABLE void drag(QPointF viewPoint);
    Q_INVOKABLE void release(QPointF viewPoint);
    Q_INVOKABLE void hover(QPointF viewPoint);
    /// For the keyboard: moves the rectangle, or its bottom right corner, by some points of the view.
    Q_INVOKABLE void nudge(double dx, double dy);
    Q_INVOKABLE void nudgeCorner(double dx, double dy);

signals:
    void isEnabledChanged();
    void selectionChanged();
    void cursorShapeChanged();

private:
    [[nodiscard]] std::optional<CGRect> screenFrame() const;
    void apply(const Interaction& interaction, CGPoint pointInWindow);
    void setCursorShape(Qt::CursorShape shape);
    void updateHoverCursor(QPointF viewPoint);

    CaptureSources& sources_;
    bool _isEnabled = true;
    Qt::CursorShape _cursorShape = Qt::CrossCursor;
    std::optional<Interaction> interaction_;
};

}  // namespace varnelle
