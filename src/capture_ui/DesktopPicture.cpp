#include "capture_ui/DesktopPicture.h"

#include <QGuiApplication>
#include <QScreen>
#include <cmath>
#include <utility>

#include "tasks/Completion.h"

namespace varnelle {
namespace {

PixelRect pixelsOf(const QRect& frame, const QScreen& screen) {
    const QPoint corner = screen.geometry().topLeft();  // in device pixels, unlike what lies on the screen
    const double scale = screen.devicePixelRatio();
    const auto pixels = [scale](int points) { return static_cast<int>(std::lround(points * scale)); };
    const QPoint offset = frame.topLeft() - corner;
    const int left = corner.x() + pixels(offset.x());
    const int top = corner.y() + pixels(offset.y());
    return {left, top, left + pixels(frame.width()), top + pixels(frame.height())};
}

QImage imageOf(const std::optional<VideoFrame>& picture) {
    if (!picture) return {};
    const auto& plane = picture->plane(0);
    return QImage(plane.data, picture->width(), picture->height(), static_cast<qsizetype>(plane.bytesPerRow),
                  QImage::Format_RGB32)
        .copy();
}

}  // namespace

DesktopPicture::DesktopPicture(DesktopPlatform& platform) : platform_(platform) {
    connect(&taking_, &QFutureWatcherBase::finished, this, [this] {
        if (!taken_) return;
        const auto taken = std::exchange(taken_, nullptr);
        const QImage picture = taking_.result();
        taking_.setFuture({});
        taken(picture);
    });
}

DesktopPicture::~DesktopPicture() = default;

void DesktopPicture::take(const QRect& frame, std::function<void(const QImage&)> taken) {
    cancel();
    const QScreen* screen = QGuiApplication::screenAt(frame.center());
    if (screen == nullptr) {
        taken({});
        return;
    }
    taken_ = std::move(taken);
    taking_.setFuture(resultOn(queue_, [&platform = platform_, area = pixelsOf(frame, *screen)] {
                          return imageOf(platform.pictureOfDesktop(area));
                      }).future());
}

void DesktopPicture::cancel() {
    taken_ = nullptr;
    taking_.setFuture({});
}

}  // namespace varnelle
