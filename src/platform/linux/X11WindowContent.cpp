#include "platform/linux/X11WindowContent.h"

#include <xcb/composite.h>

#include <fmt/format.h>

#include <utility>

namespace varnelle {
namespace {

/// A window may be hidden or get another frame between the look at it and the request for its pixels, but not
/// for ever.
constexpr int kMaximumAttempts = 20;

}  // namespace

/// The pixels that the server keeps of a window; they stay as they are when the window is resized or goes.
class X11WindowContent::Pixmap {
public:
    Pixmap(X11Connection& connection, xcb_window_t window)
        : connection_(connection), id_(xcb_generate_id(connection.get())) {
        connection.check(xcb_composite_name_window_pixmap_checked(connection.get(), window, id_),
                         "CompositeNameWindowPixmap");
    }
    ~Pixmap() { xcb_free_pixmap(connection_.get(), id_); }
    Pixmap(const Pixmap&) = delete;
    Pixmap& operator=(const Pixmap&) = delete;

    [[nodiscard]] xcb_pixmap_t id() const { return id_; }
    /// Throws `PlatformError`.
    [[nodiscard]] PixelRect bounds() const {
        const auto geometry = connection_.reply<xcb_get_geometry_reply_t>(
            xcb_get_geometry(connection_.get(), id_), "GetGeometry");
        return {0, 0, geometry->width, geometry->height};
    }

private:
    X11Connection& connection_;
    xcb_pixmap_t id_;
};

bool X11WindowContent::isSupported(X11Connection& connection) {
    if (!X11Damage::isSupported(connection) || !connection.hasExtension(xcb_composite_id)) return false;
    connection.reply<xcb_composite_query_version_reply_t>(xcb_composite_query_version(connection.get(), 0, 4),
                                                          "CompositeQueryVersion");
    return true;
}

X11WindowContent::~X11WindowContent() = default;

X11WindowContent::X11WindowContent(X11Connection& connection, const ShareableWindow& window, int widthPixels,
                                   int heightPixels)
    : connection_(connection),
      window_(window.windowID),
      title_(window.title),
      picture_{0, 0, widthPixels, heightPixels} {
    const std::uint32_t events = XCB_EVENT_MASK_STRUCTURE_NOTIFY;
    const auto selected =
        xcb_change_window_attributes_checked(connection.get(), window_, XCB_CW_EVENT_MASK, &events);
    try {
        connection.check(selected, "ChangeWindowAttributes");
    } catch (const PlatformError& error) {
        if (error.code() == PlatformError::Code::requestFailed) throw closedError();
        throw;
    }
    for (int attempt = 0; attempt < kMaximumAttempts; ++attempt) {
        const auto place = placeOfWindow(connection, window_);
        if (!place) throw closedError();
        if (!place->isViewable) break;
        if (tryToOpen(*place)) return;
    }
    throw PlatformError(
        PlatformError::Code::requestFailed,
        fmt::format("The window “{}” isn't shown on the screen, so it can't be recorded.", title_));
}

bool X11WindowContent::hasChanges() {
    while (const XReply<xcb_generic_event_t> event{xcb_poll_for_event(connection_.get())}) {
        if (damage_ && damage_->isReportedBy(*event)) hasDamage_ = true;
        switch (event->response_type & 0x7f) {
            case XCB_DESTROY_NOTIFY:
                if (reinterpret_cast<const xcb_destroy_notify_event_t&>(*event).window == window_)
                    throw closedError();
                watched_ = XCB_NONE;  // its number may be given to another
                isOutdated_ = true;
                break;
            case XCB_CONFIGURE_NOTIFY: {
                const auto& change = reinterpret_cast<const xcb_configure_notify_event_t&>(*event);
                const int borders = 2 * change.border_width;
                const bool isOtherTopLevel =
                    change.window == topLevel_ && (change.width + borders != topLevelBounds_.width() ||
                                                   change.height + borders != topLevelBounds_.height());
                const bool isOtherClient = change.window == window_ && (change.width != client_.width() ||
                                                                        change.height != client_.height());
                if (isOtherTopLevel || isOtherClient) isOutdated_ = true;
                break;
            }
            case XCB_MAP_NOTIFY:
            case XCB_REPARENT_NOTIFY:
                isOutdated_ = true;
                break;
            default:
                break;
        }
    }
    return isOutdated_ || hasDamage_;
}

PixelRegion X11WindowContent::takeChanges() {
    hasDamage_ = false;
    PixelRegion changes;
    if (isOutdated_) {
        const auto place = placeOfWindow(connection_, window_);
        if (!place) throw closedError();
        // A frame that wasn't watched may have been shown since the look at it: then it is looked at again.
        isOutdated_ = !place->isViewable && watch(place->topLevel);
        if (!place->isViewable) return changes;  // told again when it is shown
        if (!tryToOpen(*place)) return changes;
        changes.add(picture_);
    }
    const PixelRegion drawnOnWindow = damage_->take();
    for (const PixelRect& drawn : drawnOnWindow.rects()) {
        changes.add(drawn.movedBy(borderWidth_ - cropLeft_, borderWidth_ - cropTop_).intersection(picture_));
    }
    return changes;
}

bool X11WindowContent::fetch(CaptureBuffer& buffer, const PixelRegion& region, const VideoFrame& previous) {
    return source_->fetch(buffer, region.rects(), previous, X11ImageSource::Bands::allowed);
}

bool X11WindowContent::tryToOpen(const X11WindowPlace& place) {
    try {
        openPixmap(place);
        return true;
    } catch (const PlatformError& error) {
        if (error.code() != PlatformError::Code::requestFailed) throw;
        // It was hidden, closed or got another frame since its place was asked for.
        isOutdated_ = true;
        return false;
    }
}

bool X11WindowContent::watch(xcb_window_t topLevel) {
    if (topLevel == watched_) return false;
    watched_ = topLevel;
    const std::uint32_t events = XCB_EVENT_MASK_STRUCTURE_NOTIFY;
    xcb_change_window_attributes(connection_.get(), topLevel, XCB_CW_EVENT_MASK, &events);
    return true;
}

void X11WindowContent::openPixmap(const X11WindowPlace& place) {
    xcb_connection_t* x = connection_.get();
    if (place.topLevel != topLevel_) {
        topLevel_ = XCB_NONE;  // until all of it is open
        watch(place.topLevel);
        connection_.check(
            xcb_composite_redirect_window_checked(x, place.topLevel, XCB_COMPOSITE_REDIRECT_AUTOMATIC),
            "CompositeRedirectWindow");
        damage_ = std::make_unique<X11Damage>(connection_, place.topLevel);
        topLevel_ = place.topLevel;
    }
    topLevelBounds_ = place.topLevelBounds;
    client_ = place.client;
    borderWidth_ = place.borderWidth;
    cropLeft_ = place.frame.left - place.topLevelBounds.left;
    cropTop_ = place.frame.top - place.topLevelBounds.top;
    auto pixmap = std::make_unique<Pixmap>(connection_, topLevel_);
    const PixelRect shown = picture_.movedBy(cropLeft_, cropTop_);
    // The window may have another size by now; what was named is what there is to read.
    const PixelRect frame = place.frame.movedBy(-place.topLevelBounds.left, -place.topLevelBounds.top);
    source_ = std::make_unique<X11ImageSource>(connection_, pixmap->id(), shown,
                                               frame.intersection(pixmap->bounds()));
    pixmap_ = std::move(pixmap);
}

PlatformError X11WindowContent::closedError() const {
    return {PlatformError::Code::requestFailed, fmt::format("The window “{}” was closed.", title_)};
}

}  // namespace varnelle
