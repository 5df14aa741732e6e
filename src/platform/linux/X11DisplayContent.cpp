#include "platform/linux/X11DisplayContent.h"

#include <fmt/format.h>

#include <algorithm>
#include <utility>

#include "foundation/Log.h"
#include "platform/linux/X11Displays.h"

namespace varnelle {
namespace {

/// How often a picture is read again because windows moved meanwhile, before they are kept from it.
constexpr int kLooksBeforeGrab = 2;

/// Keeps everybody else from changing anything on the display.
class ServerGrab {
public:
    explicit ServerGrab(X11Connection& connection) : connection_(connection.get()) {
        xcb_grab_server(connection_);
    }
    ~ServerGrab() {
        xcb_ungrab_server(connection_);
        xcb_flush(connection_);
    }
    ServerGrab(const ServerGrab&) = delete;
    ServerGrab& operator=(const ServerGrab&) = delete;

private:
    xcb_connection_t* connection_;
};

PixelRect rootBounds(X11Connection& connection) {
    const auto geometry = connection.reply<xcb_get_geometry_reply_t>(
        xcb_get_geometry(connection.get(), connection.screen().root), "GetGeometry");
    return {0, 0, geometry->width, geometry->height};
}

void requireVisible(X11Connection& connection, const PixelRect& area) {
    if (!area.intersection(rootBounds(connection)).isEmpty()) return;
    throw PlatformError(
        PlatformError::Code::requestFailed,
        fmt::format("What is to be recorded lies outside of the X display “{}”.", connection.displayName()));
}

}  // namespace

X11DisplayContent::X11DisplayContent(X11Connection& connection, const PixelRect& area,
                                     const std::vector<std::int64_t>& excludedProcesses,
                                     std::optional<ShareableDisplay> display,
                                     std::optional<ShareableWindow> window)
    : connection_(connection),
      area_(area),
      source_(connection, connection.screen().root, area, rootBounds(connection)),
      display_(std::move(display)),
      window_(std::move(window)) {
    requireVisible(connection, area);
    // The size of the root window changes when screens come and go.
    const std::uint32_t events = XCB_EVENT_MASK_STRUCTURE_NOTIFY;
    xcb_change_window_attributes(connection.get(), connection.screen().root, XCB_CW_EVENT_MASK, &events);
    if (window_)
        xcb_change_window_attributes(connection.get(), window_->windowID, XCB_CW_EVENT_MASK, &events);
    if (X11Damage::isSupported(connection)) {
        damage_ = std::make_unique<X11Damage>(connection, connection.screen().root);
    } else {
        logger(LogCategory::capture)
            .warn(
                "The X display “{}” doesn't report what is drawn (it lacks the extension DAMAGE); recording "
                "it takes more work.",
                connection.displayName());
    }
    if (!excludedProcesses.empty())
        excludedWindows_ = X11ExcludedWindows::make(connection, area, excludedProcesses);
}

bool X11DisplayContent::hasChanges() {
    takeInEvents();
    return hasDamage_ || damage_ == nullptr || (excludedWindows_ && excludedWindows_->hasChanges());
}

PixelRegion X11DisplayContent::takeChanges() {
    hasDamage_ = false;
    PixelRegion changes;
    if (damage_ == nullptr) {
        changes.add({0, 0, area_.width(), area_.height()});
    } else {
        const PixelRegion drawnOnRoot = damage_->take();
        for (const PixelRect& drawn : drawnOnRoot.rects()) {
            changes.add(drawn.intersection(area_).movedBy(-area_.left, -area_.top));
        }
    }
    if (excludedWindows_) changes.add(excludedWindows_->takeChanges());
    return changes;
}

bool X11DisplayContent::fetch(CaptureBuffer& buffer, const PixelRegion& region, const VideoFrame& previous) {
    try {
        return look(buffer, region, previous);
    } catch (const PlatformError& error) {
        if (error.code() != PlatformError::Code::requestFailed) throw;
    }
    // The screen may have shrunk meanwhile, which the server has told by now.
    takeInEvents();
    return look(buffer, region, previous);
}

bool X11DisplayContent::look(CaptureBuffer& buffer, const PixelRegion& region, const VideoFrame& previous) {
    if (!excludedWindows_)
        return source_.fetch(buffer, region.rects(), previous, X11ImageSource::Bands::allowed);
    for (int i = 0; i < kLooksBeforeGrab; ++i) {
        const bool isDifferent = fetchWithoutExcluded(buffer, region, previous);
        if (!excludedWindows_->isOutdated()) return isDifferent;
    }
    const ServerGrab grab(connection_);
    connection_.check(xcb_no_operation_checked(connection_.get()), "NoOperation");
    takeInEvents();
    return fetchWithoutExcluded(buffer, region, previous);
}

bool X11DisplayContent::fetchWithoutExcluded(CaptureBuffer& buffer, const PixelRegion& region,
                                             const VideoFrame& previous) {
    const PixelRegion hidden = excludedWindows_->region();
    const bool isDifferent =
        source_.fetch(buffer, difference(region, hidden), previous, X11ImageSource::Bands::none);
    const bool isDifferentBeneath = excludedWindows_->fetch(buffer, region, previous);
    // The server tells of a window that appeared before the pixels were read before it answers with the
    // pixels.
    takeInEvents();
    return isDifferent || isDifferentBeneath;
}

void X11DisplayContent::takeInEvents() {
    bool mayLackDisplay = false;
    while (const XReply<xcb_generic_event_t> event{xcb_poll_for_event(connection_.get())}) {
        if (damage_ && damage_->isReportedBy(*event)) hasDamage_ = true;
        if (excludedWindows_) excludedWindows_->noteEvent(*event);
        const int type = event->response_type & 0x7f;
        if (type == XCB_DESTROY_NOTIFY)
            noteClosed(reinterpret_cast<const xcb_destroy_notify_event_t&>(*event).window);
        if (type != XCB_CONFIGURE_NOTIFY) continue;
        const auto& change = reinterpret_cast<const xcb_configure_notify_event_t&>(*event);
        if (change.window == connection_.screen().root) {
            source_.setBounds({0, 0, change.width, change.height});
            mayLackDisplay = true;
        }
    }
    if (mayLackDisplay) lookForDisplay();
}

void X11DisplayContent::noteClosed(xcb_window_t window) {
    if (!window_ || window_->windowID != window) return;
    logger(LogCategory::capture)
        .warn("The window “{}” was closed while it was recorded. The recording goes on with its place.",
              window_->title);
    window_.reset();
}

/// The root window is told of whenever screens come, go or change.
void X11DisplayContent::lookForDisplay() {
    if (!display_) return;
    const std::vector<ShareableDisplay> displays = listDisplays(connection_);
    const bool isThere = std::any_of(displays.begin(), displays.end(), [this](const ShareableDisplay& other) {
        return other.displayID == display_->displayID;
    });
    if (isThere) return;
    logger(LogCategory::capture).warn("The display “{}” was removed while it was recorded.", display_->name);
    display_.reset();
}

}  // namespace varnelle
