#pragma once

#include <QtQml/qqmlregistration.h>
#include <QImage>
#include <QQuickPaintedItem>
#include <atomic>
#include <memory>

#include "media/VideoFrame.h"

namespace varnelle {

class CameraPreviewHub;

/// The camera's picture as the movie's bubble shows it: square, cut to its rounded shape, perhaps mirrored.
/// Main thread; pictures are made on the camera's queue.
class CameraPreviewItem : public QQuickPaintedItem {
    Q_OBJECT
    QML_NAMED_ELEMENT(CameraPreview)
    /// Corner radius in fractions of the side; half of it is a circle.
    Q_PROPERTY(double cornerRadiusRatio MEMBER cornerRadiusRatio_ NOTIFY shapeChanged)
    Q_PROPERTY(bool isMirrored MEMBER isMirrored_ NOTIFY shapeChanged)

public:
    explicit CameraPreviewItem(QQuickItem* parent = nullptr);
    ~CameraPreviewItem() override;

    /// Where the pictures come from.
    void setHub(std::shared_ptr<CameraPreviewHub> hub);
    void paint(QPainter* painter) override;

signals:
    void shapeChanged();

private:
    /// What the camera's queue needs of the item.
    struct Request {
        std::atomic<int> sidePixels = 0;
        std::atomic<bool> isMirrored = false;
        std::atomic<bool> isPictureOnItsWay = false;  ///< the main thread hasn't taken the last one yet
    };

    void updateRequest();
    void showPicture(const QImage& picture);

    double cornerRadiusRatio_ = 0.5;
    bool isMirrored_ = false;
    QImage picture_;
    std::shared_ptr<Request> request_ = std::make_shared<Request>();
    std::shared_ptr<CameraPreviewHub> hub_;
};

}  // namespace varnelle
