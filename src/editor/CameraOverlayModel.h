#pragma once

#include <QtQml/qqmlregistration.h>
#include <QObject>
#include <QRectF>
#include <QSizeF>
#include <optional>

#include "editor/InspectorRows.h"

namespace varnelle {

/// A look whose dragged bubble lies whole inside a canvas of that size.
OverlayConfiguration withClampedPosition(OverlayConfiguration look, CGSize canvas);

/// The camera bubble over the preview, by which it is dragged. Places are points of the preview, from its top
/// left. Main thread.
class CameraOverlayModel : public QObject {
    Q_OBJECT
    QML_ELEMENT
    QML_UNCREATABLE("belongs to the editor")
    Q_PROPERTY(QSizeF previewSize READ previewSize WRITE setPreviewSize NOTIFY changed)
    Q_PROPERTY(bool isShown READ isShown NOTIFY changed)
    Q_PROPERTY(QRectF bubble READ bubble NOTIFY changed)
    /// Of the outline.
    Q_PROPERTY(double cornerRadius READ cornerRadius NOTIFY changed)
    Q_PROPERTY(bool isDragging READ isDragging NOTIFY isDraggingChanged)

public:
    /// `editing` must outlive the object.
    explicit CameraOverlayModel(LookEditing& editing, QObject* parent = nullptr);

    /// What the editor tells: the size of the rendered picture in pixels, and whether the project has a
    /// camera.
    void setRenderSize(CGSize size);
    void setHasCamera(bool hasCamera);
    void lookHasChanged() { emit changed(); }

    [[nodiscard]] const QSizeF& previewSize() const { return previewSize_; }
    void setPreviewSize(const QSizeF& size);
    [[nodiscard]] bool isShown() const { return hasCamera_ && editing_.look().showsCamera; }
    [[nodiscard]] QRectF bubble() const;
    [[nodiscard]] double cornerRadius() const;
    [[nodiscard]] bool isDragging() const { return dragStartConfiguration_.has_value(); }

    /// By how far the pointer has moved since the press.
    Q_INVOKABLE void drag(double translationX, double translationY);
    Q_INVOKABLE void endDrag(double translationX, double translationY);
    /// What was dragged is gone; the rest of the drag means nothing.
    void abandonDrag();
    /// One step of the keyboard: a move that is an undo step of its own.
    Q_INVOKABLE void nudge(double translationX, double translationY);
    Q_INVOKABLE void tap() { emit tapped(); }

signals:
    void changed();
    void isDraggingChanged();
    void tapped();

private:
    [[nodiscard]] OverlayConfiguration moved(const OverlayConfiguration& look, double translationX,
                                             double translationY) const;
    /// Points of the preview to a pixel of the picture.
    [[nodiscard]] double scaleX() const;
    [[nodiscard]] double scaleY() const;

    LookEditing& editing_;
    CGSize renderSize_;
    QSizeF previewSize_;
    bool hasCamera_ = false;
    std::optional<OverlayConfiguration> dragStartConfiguration_;
};

}  // namespace varnelle
