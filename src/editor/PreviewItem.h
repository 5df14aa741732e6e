#pragma once

#include <QtQml/qqmlregistration.h>
#include <QPointer>
#include <QQuickItem>
#include <QTimer>
#include <atomic>
#include <memory>

#include "editor/EditorPlaybackController.h"
#include "media/VideoFrame.h"

namespace varnelle {

class PreviewFrames;

/// Shows the controller's frames as large as they fit into the item at the preview's aspect ratio, in its
/// middle, pixel for pixel: the controller is told for how many pixels of the screen to draw. Main thread;
/// the newest frame is taken when the window is drawn next.
class PreviewItem : public QQuickItem {
    Q_OBJECT
    QML_ELEMENT
    Q_PROPERTY(varnelle::EditorPlaybackController* controller READ controller WRITE setController NOTIFY
                   controllerChanged)
    /// Where the picture lies within the item.
    Q_PROPERTY(QRectF pictureRect READ pictureRect NOTIFY pictureRectChanged)

public:
    explicit PreviewItem(QQuickItem* parent = nullptr);
    ~PreviewItem() override;

    [[nodiscard]] EditorPlaybackController* controller() const { return controller_; }
    void setController(EditorPlaybackController* controller);
    [[nodiscard]] QRectF pictureRect() const { return pictureRect_; }

signals:
    void controllerChanged();
    void pictureRectChanged();

protected:
    void geometryChange(const QRectF& newGeometry, const QRectF& oldGeometry) override;
    void itemChange(ItemChange change, const ItemChangeData& value) override;
    QSGNode* updatePaintNode(QSGNode* node, UpdatePaintNodeData* data) override;

private:
    void watch(std::shared_ptr<PreviewFrames> frames);
    void watchDrawing(QQuickWindow* window);
    void frameArrived();
    void windowDrawn();
    void updatePictureRect();
    void tellSize();
    [[nodiscard]] double pixelsPerUnit() const;

    QPointer<EditorPlaybackController> controller_;
    std::shared_ptr<PreviewFrames> frames_;
    QRectF pictureRect_;
    QSize wantedPixels_;
    QSize toldPixels_;
    QTimer sizeTimer_;
    QMetaObject::Connection drawingWatch_;
    /// The window is being drawn with the last frame. To take another one now would make the main thread
    /// wait.
    bool isDrawing_ = false;
    bool hasNewFrame_ = false;  ///< since then
    QTimer drawingTimer_;       ///< for a window that is hidden before it was drawn
    std::atomic<bool> isUpdatePosted_ = false;
    VideoFrame drawn_;  ///< what the texture holds; its storage is the texture's
};

}  // namespace varnelle
