#include "platform/linux/X11Capture.h"

#include <fmt/format.h>

#include <cmath>
#include <cstring>
#include <variant>

#include "foundation/HostClock.h"
#include "foundation/Log.h"
#include "platform/linux/X11DisplayContent.h"
#include "platform/linux/X11ExcludedWindows.h"
#include "platform/linux/X11WindowContent.h"

namespace varnelle {
namespace {

int wholePixels(double points, double scale) {
    return static_cast<int>(std::lround(points * scale));
}

/// The pixels on the root window that the frames show.
PixelRect capturedArea(const DisplayFilter& filter, const ScreenStreamConfiguration& configuration) {
    const ShareableDisplay& display = filter.display;
    CGPoint origin = display.frame.origin;
    if (configuration.sourceRect) {
        origin.x += configuration.sourceRect->minX();
        origin.y += configuration.sourceRect->minY();
    }
    const int left = wholePixels(origin.x, display.scale);
    const int top = wholePixels(origin.y, display.scale);
    return {left, top, left + configuration.widthPixels, top + configuration.heightPixels};
}

std::unique_ptr<X11Content> makeContent(X11Connection& connection, const DisplayFilter& filter,
                                        const ScreenStreamConfiguration& configuration) {
    std::vector<std::int64_t> excluded;
    for (const ShareableApplication& application : filter.excludedApplications) {
        excluded.push_back(application.processID);
    }
    return std::make_unique<X11DisplayContent>(connection, capturedArea(filter, configuration), excluded,
                                               filter.display, filter.window);
}

std::unique_ptr<X11Content> makeContent(X11Connection& connection, const WindowFilter& filter,
                                        const ScreenStreamConfiguration& configuration) {
    const ShareableWindow& window = filter.window;
    if (X11WindowContent::isSupported(connection)) {
        return std::make_unique<X11WindowContent>(connection, window, configuration.widthPixels,
                                                  configuration.heightPixels);
    }
    logger(LogCategory::capture)
        .warn(
            "The X display “{}” can't show a window by itself (it lacks the extension Composite); recording "
            "the "
            "place of the window on the screen.",
            connection.displayName());
    const int left = wholePixels(window.frame.minX(), window.scale);
    const int top = wholePixels(window.frame.minY(), window.scale);
    const PixelRect area{left, top, left + configuration.widthPixels, top + configuration.heightPixels};
    return std::make_unique<X11DisplayContent>(connection, area, std::vector<std::int64_t>{}, std::nullopt,
                                               window);
}

}  // namespace

X11Capture::X11Capture(const std::string& displayName, const ContentFilter& filter,
                       const ScreenStreamConfiguration& configuration)
    : connection_(displayName),
      picture_{0, 0, configuration.widthPixels, configuration.heightPixels},
      content_(std::visit([&](const auto& shown) { return makeContent(connection_, shown, configuration); },
                          filter)),
      pool_(picture_.width(), picture_.height(), static_cast<std::size_t>(configuration.queueDepth)) {}

bool X11Capture::hasChanges() {
    const bool result = content_->hasChanges();
    if (connection_.isLost()) throw connection_.lostError();
    return result;
}

X11Capture::Outcome X11Capture::takeFrame(SampleBuffer& sample) {
    const std::shared_ptr<CaptureBuffer> buffer = pool_.acquire();
    if (buffer == nullptr) return Outcome::noFreeBuffer;
    PixelRegion changes;
    const PixelRegion told = content_->takeChanges();
    for (const PixelRect& rect : told.rects()) changes.add(rect.intersection(picture_));
    if (current_.isEmpty()) changes.add(picture_);
    if (changes.isEmpty()) return Outcome::unchanged;

    bringUpToDate(*buffer, changes);
    const CMTime displayTime = hostTimeNow();
    const bool isDifferent = content_->fetch(*buffer, changes, current_);
    pool_.markStale(changes, *buffer);
    if (!isDifferent) return Outcome::unchanged;

    current_ = pool_.lend(buffer);
    sample = {};
    sample.data = current_;
    sample.presentationTime = displayTime;
    sample.attachments.displayTime = displayTime;
    sample.attachments.status = FrameStatus::complete;
    return Outcome::frame;
}

void X11Capture::bringUpToDate(CaptureBuffer& buffer, const PixelRegion& aboutToBeFetched) const {
    if (current_.isEmpty()) return;
    const auto bytesPerRow = static_cast<std::size_t>(pool_.bytesPerRow());
    for (const PixelRect& rect : buffer.staleRegion.rects()) {
        if (aboutToBeFetched.covers(rect)) continue;
        const std::size_t byteCount = static_cast<std::size_t>(rect.width()) * 4;
        std::size_t offset =
            static_cast<std::size_t>(rect.top) * bytesPerRow + static_cast<std::size_t>(rect.left) * 4;
        for (int y = rect.top; y < rect.bottom; ++y, offset += bytesPerRow) {
            std::memcpy(buffer.memory.bytes() + offset, current_.plane(0).data + offset, byteCount);
        }
    }
}

}  // namespace varnelle
