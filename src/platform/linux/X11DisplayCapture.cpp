#include "platform/linux/X11DisplayCapture.h"

#include <fmt/format.h>

#include <cmath>
#include <cstring>

#include "foundation/HostClock.h"

namespace varnelle {
namespace {

void requireDamageReports(X11Connection& connection) {
    if (!connection.hasExtension(xcb_damage_id) || !connection.hasExtension(xcb_xfixes_id)) {
        throw PlatformError(
            PlatformError::Code::unsupported,
            fmt::format("The X display “{}” doesn't report what is drawn (it lacks the extension DAMAGE), "
                        "so it can't be recorded.",
                        connection.displayName()));
    }
    // Both extensions answer nothing else before the versions have been agreed on.
    const auto damage = xcb_damage_query_version(connection.get(), 1, 1);
    const auto fixes = xcb_xfixes_query_version(connection.get(), 2, 0);
    connection.reply<xcb_damage_query_version_reply_t>(damage, "DamageQueryVersion");
    connection.reply<xcb_xfixes_query_version_reply_t>(fixes, "XFixesQueryVersion");
}

/// The display's pixels on the root window, cropped to the size of the frames.
PixelRect capturedArea(const ContentFilter& filter, const ScreenStreamConfiguration& configuration) {
    const ShareableDisplay& display = filter.display;
    const int left = static_cast<int>(std::lround(display.frame.minX() * display.scale));
    const int top = static_cast<int>(std::lround(display.frame.minY() * display.scale));
    return {left, top, left + configuration.widthPixels, top + configuration.heightPixels};
}

}  // namespace

X11DisplayCapture::X11DisplayCapture(const std::string& displayName, const ContentFilter& filter,
                                     const ScreenStreamConfiguration& configuration)
    : connection_(displayName),
      area_(capturedArea(filter, configuration)),
      source_(connection_, connection_.screen().root, area_),
      pool_(area_.width(), area_.height(), static_cast<std::size_t>(configuration.queueDepth)) {
    requireDamageReports(connection_);
    xcb_connection_t* x = connection_.get();
    region_ = xcb_generate_id(x);
    xcb_xfixes_create_region(x, region_, 0, nullptr);
    damage_ = xcb_generate_id(x);
    // One report per look, however much is drawn in between.
    connection_.check(
        xcb_damage_create_checked(x, damage_, connection_.screen().root, XCB_DAMAGE_REPORT_LEVEL_NON_EMPTY),
        "DamageCreate");
}

bool X11DisplayCapture::hasChanges() {
    while (const XReply<xcb_generic_event_t> event{xcb_poll_for_event(connection_.get())}) {
        const auto damageEvent = xcb_get_extension_data(connection_.get(), &xcb_damage_id)->first_event;
        if ((event->response_type & 0x7f) == damageEvent + XCB_DAMAGE_NOTIFY) hasDamage_ = true;
    }
    if (connection_.isLost()) throw connection_.lostError();
    return hasDamage_;
}

X11DisplayCapture::Outcome X11DisplayCapture::takeFrame(SampleBuffer& sample) {
    const std::shared_ptr<CaptureBuffer> buffer = pool_.acquire();
    if (buffer == nullptr) return Outcome::noFreeBuffer;
    PixelRegion changes = takeDamage();
    if (current_.isEmpty()) changes.add({0, 0, area_.width(), area_.height()});
    if (changes.isEmpty()) return Outcome::unchanged;

    bringUpToDate(*buffer, changes);
    const CMTime displayTime = hostTimeNow();
    const bool isDifferent = source_.fetch(*buffer, changes, current_);
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

PixelRegion X11DisplayCapture::takeDamage() {
    // The damage is taken before the pixels are read: what is drawn in between is reported again, never
    // missed.
    hasDamage_ = false;
    xcb_damage_subtract(connection_.get(), damage_, XCB_NONE, region_);
    const auto reply = connection_.reply<xcb_xfixes_fetch_region_reply_t>(
        xcb_xfixes_fetch_region(connection_.get(), region_), "XFixesFetchRegion");
    const xcb_rectangle_t* rects = xcb_xfixes_fetch_region_rectangles(reply.get());
    PixelRegion changes;
    for (int i = 0; i < xcb_xfixes_fetch_region_rectangles_length(reply.get()); ++i) {
        const PixelRect drawn{rects[i].x, rects[i].y, rects[i].x + rects[i].width,
                              rects[i].y + rects[i].height};
        changes.add(drawn.intersection(area_).movedBy(-area_.left, -area_.top));
    }
    return changes;
}

void X11DisplayCapture::bringUpToDate(CaptureBuffer& buffer, const PixelRegion& aboutToBeFetched) const {
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
