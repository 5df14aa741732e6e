#include "platform/linux/X11ExcludedWindows.h"

#include <xcb/composite.h>

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <optional>
#include <set>
#include <utility>

#include "foundation/Log.h"
#include "platform/linux/X11Properties.h"
#include "platform/linux/X11WindowSeparation.h"

namespace varnelle {
namespace {

constexpr int kDeepestClient =
    3;  ///< window managers put a client at most so many windows deep into decoration

bool keepsWindowsApart(X11Connection& connection) {
    if (!X11Damage::isSupported(connection) || !connection.hasExtension(xcb_render_id)) return false;
    connection.reply<xcb_render_query_version_reply_t>(xcb_render_query_version(connection.get(), 0, 11),
                                                       "RenderQueryVersion");
    return X11WindowSeparation::begin(connection);
}

xcb_rectangle_t rectangle(const PixelRect& rect) {
    return {static_cast<std::int16_t>(rect.left), static_cast<std::int16_t>(rect.top),
            static_cast<std::uint16_t>(rect.width()), static_cast<std::uint16_t>(rect.height())};
}

}  // namespace

std::unique_ptr<X11ExcludedWindows> X11ExcludedWindows::make(X11Connection& connection, const PixelRect& area,
                                                             const std::vector<std::int64_t>& processIDs) {
    if (keepsWindowsApart(connection)) {
        return std::unique_ptr<X11ExcludedWindows>(new X11ExcludedWindows(connection, area, processIDs));
    }
    logger(LogCategory::capture)
        .warn(
            "The X display “{}” can't leave windows out of a recording (it lacks an extension: Composite, "
            "RENDER or "
            "DAMAGE).",
            connection.displayName());
    return nullptr;
}

X11ExcludedWindows::X11ExcludedWindows(X11Connection& connection, const PixelRect& area,
                                       const std::vector<std::int64_t>& processIDs)
    : connection_(connection), area_(area), processIDs_(processIDs) {
    xcb_connection_t* x = connection.get();
    const xcb_screen_t& screen = connection.screen();
    const std::uint32_t events =
        XCB_EVENT_MASK_STRUCTURE_NOTIFY | XCB_EVENT_MASK_SUBSTRUCTURE_NOTIFY | XCB_EVENT_MASK_PROPERTY_CHANGE;
    xcb_change_window_attributes(x, screen.root, XCB_CW_EVENT_MASK, &events);
    readFormats();
    const PixelRect picture{0, 0, area.width(), area.height()};
    composed_ = {xcb_generate_id(x), xcb_generate_id(x)};
    xcb_create_pixmap(x, screen.root_depth, composed_.pixmap, screen.root,
                      static_cast<std::uint16_t>(area.width()), static_cast<std::uint16_t>(area.height()));
    xcb_render_create_picture(x, composed_.picture, composed_.pixmap, formats_[screen.root_visual].id, 0,
                              nullptr);
    shape_ = xcb_generate_id(x);
    xcb_xfixes_create_region(x, shape_, 0, nullptr);
    source_ = std::make_unique<X11ImageSource>(connection, composed_.pixmap, picture, picture);
}

X11ExcludedWindows::~X11ExcludedWindows() {
    forgetPictures();
    release(composed_);
    xcb_xfixes_destroy_region(connection_.get(), shape_);
    xcb_composite_unredirect_subwindows(connection_.get(), connection_.screen().root,
                                        XCB_COMPOSITE_REDIRECT_AUTOMATIC);
    xcb_flush(connection_.get());
}

void X11ExcludedWindows::noteEvent(const xcb_generic_event_t& event) {
    switch (event.response_type & 0x7f) {
        case XCB_REPARENT_NOTIFY: {
            const auto& change = reinterpret_cast<const xcb_reparent_notify_event_t&>(event);
            knownProcesses_.erase(change.window);
            knownProcesses_.erase(change.parent);
            isOutdated_ = true;
            return;
        }
        case XCB_MAP_NOTIFY:
            knownProcesses_.erase(reinterpret_cast<const xcb_map_notify_event_t&>(event).window);
            isOutdated_ = true;
            return;
        case XCB_DESTROY_NOTIFY:
            knownProcesses_.erase(reinterpret_cast<const xcb_destroy_notify_event_t&>(event).window);
            isOutdated_ = true;
            return;
        case XCB_UNMAP_NOTIFY:
        case XCB_CONFIGURE_NOTIFY:
        case XCB_CIRCULATE_NOTIFY:
            isOutdated_ = true;
            return;
        case XCB_PROPERTY_NOTIFY: {
            const auto& change = reinterpret_cast<const xcb_property_notify_event_t&>(event);
            if (change.atom == connection_.atom("_XROOTPMAP_ID")) isOutdated_ = true;
            return;
        }
        default:
            break;
    }
    if (std::any_of(damages_.begin(), damages_.end(),
                    [&event](const auto& entry) { return entry.second->isReportedBy(event); })) {
        hasDamage_ = true;
    }
}

const PixelRegion& X11ExcludedWindows::region() {
    if (isOutdated_) lookAtWindows();
    return region_;
}

PixelRegion X11ExcludedWindows::takeChanges() {
    const bool mayHaveChanged = hasChanges();
    const PixelRegion& all = region();
    hasDamage_ = false;
    if (!mayHaveChanged) return {};
    for (const auto& [window, damage] : damages_) damage->discard();
    return all;
}

bool X11ExcludedWindows::fetch(CaptureBuffer& buffer, const PixelRegion& changes,
                               const VideoFrame& previous) {
    PixelRegion affected;
    for (const PixelRect& hidden : region().rects()) {
        for (const PixelRect& changed : changes.rects()) affected.add(hidden.intersection(changed));
    }
    if (affected.isEmpty()) return false;
    for (const PixelRect& rect : affected.rects()) compose(rect);
    return source_->fetch(buffer, affected.rects(), previous, X11ImageSource::Bands::none);
}

void X11ExcludedWindows::readFormats() {
    const auto reply = connection_.reply<xcb_render_query_pict_formats_reply_t>(
        xcb_render_query_pict_formats(connection_.get()), "RenderQueryPictFormats");
    std::set<xcb_render_pictformat_t> withAlpha;
    for (auto it = xcb_render_query_pict_formats_formats_iterator(reply.get()); it.rem > 0;
         xcb_render_pictforminfo_next(&it)) {
        if (it.data->direct.alpha_mask != 0) withAlpha.insert(it.data->id);
    }
    for (auto screen = xcb_render_query_pict_formats_screens_iterator(reply.get()); screen.rem > 0;
         xcb_render_pictscreen_next(&screen)) {
        for (auto depth = xcb_render_pictscreen_depths_iterator(screen.data); depth.rem > 0;
             xcb_render_pictdepth_next(&depth)) {
            for (auto visual = xcb_render_pictdepth_visuals_iterator(depth.data); visual.rem > 0;
                 xcb_render_pictvisual_next(&visual)) {
                formats_[visual.data->visual] = {visual.data->format,
                                                 withAlpha.count(visual.data->format) > 0};
            }
        }
    }
}

void X11ExcludedWindows::lookAtWindows() {
    isOutdated_ = false;
    hasDamage_ = true;
    forgetPictures();
    windowsBeneath_.clear();
    region_.clear();
    xcb_connection_t* x = connection_.get();
    const auto tree =
        connection_.reply<xcb_query_tree_reply_t>(xcb_query_tree(x, connection_.screen().root), "QueryTree");
    const xcb_window_t* children = xcb_query_tree_children(tree.get());
    const auto count = static_cast<std::size_t>(xcb_query_tree_children_length(tree.get()));
    std::vector<std::pair<xcb_get_window_attributes_cookie_t, xcb_get_geometry_cookie_t>> cookies;
    cookies.reserve(count);
    for (std::size_t i = 0; i < count; ++i) {
        cookies.emplace_back(xcb_get_window_attributes(x, children[i]), xcb_get_geometry(x, children[i]));
    }
    for (std::size_t i = 0; i < count; ++i) {
        const auto attributes = connection_.replyIfGranted<xcb_get_window_attributes_reply_t>(
            cookies[i].first, "GetWindowAttributes");
        const auto geometry =
            connection_.replyIfGranted<xcb_get_geometry_reply_t>(cookies[i].second, "GetGeometry");
        if (attributes == nullptr || geometry == nullptr) continue;
        if (attributes->_class != XCB_WINDOW_CLASS_INPUT_OUTPUT ||
            attributes->map_state != XCB_MAP_STATE_VIEWABLE) {
            continue;
        }
        Window window;
        window.id = children[i];
        window.borderWidth = geometry->border_width;
        window.visual = attributes->visual;
        const int borders = 2 * geometry->border_width;
        window.bounds = {geometry->x, geometry->y, geometry->x + geometry->width + borders,
                         geometry->y + geometry->height + borders};
        if (std::find(processIDs_.begin(), processIDs_.end(), processOf(window.id)) == processIDs_.end()) {
            windowsBeneath_.push_back(window);
        } else {
            region_.add(window.bounds.intersection(area_).movedBy(-area_.left, -area_.top));
        }
    }
    watchWindowsBeneath();
    if (!region_.isEmpty()) readBackground();
}

std::int64_t X11ExcludedWindows::processOf(xcb_window_t window) {
    const auto known = knownProcesses_.find(window);
    if (known != knownProcesses_.end()) return known->second;
    // The decoration belongs to the window manager; the number is at the client's own window within.
    std::int64_t process = 0;
    std::vector<xcb_window_t> level{window};
    for (int depth = 0; depth <= kDeepestClient && process == 0 && !level.empty(); ++depth) {
        std::vector<xcb_window_t> next;
        for (const xcb_window_t candidate : level) {
            const auto numbers = X11Property(connection_, candidate, "_NET_WM_PID").numbers();
            if (!numbers.empty()) {
                process = numbers.front();
                break;
            }
            const auto tree = connection_.replyIfGranted<xcb_query_tree_reply_t>(
                xcb_query_tree(connection_.get(), candidate), "QueryTree");
            if (tree == nullptr) continue;
            const xcb_window_t* children = xcb_query_tree_children(tree.get());
            next.insert(next.end(), children, children + xcb_query_tree_children_length(tree.get()));
        }
        level = std::move(next);
    }
    return knownProcesses_[window] = process;
}

void X11ExcludedWindows::watchWindowsBeneath() {
    std::map<xcb_window_t, std::unique_ptr<X11Damage>> watched;
    for (const Window& window : windowsBeneath_) {
        const PixelRect place = window.bounds.movedBy(-area_.left, -area_.top);
        const bool isHidden =
            std::any_of(region_.rects().begin(), region_.rects().end(),
                        [&place](const auto& rect) { return !rect.intersection(place).isEmpty(); });
        if (!isHidden) continue;
        auto& damage = damages_[window.id];
        try {
            if (damage == nullptr) damage = std::make_unique<X11Damage>(connection_, window.id);
        } catch (const PlatformError& error) {
            if (error.code() != PlatformError::Code::requestFailed) throw;
            continue;  // the window has gone meanwhile, which the next event tells
        }
        watched[window.id] = std::move(damage);
    }
    damages_ = std::move(watched);
}

void X11ExcludedWindows::readBackground() {
    const auto pixmap = X11Property(connection_, connection_.screen().root, "_XROOTPMAP_ID").numbers();
    if (pixmap.empty() || pixmap.front() == 0) return;
    backgroundPicture_ = xcb_generate_id(connection_.get());
    const std::uint32_t repeat = XCB_RENDER_REPEAT_NORMAL;
    const auto created = xcb_render_create_picture_checked(
        connection_.get(), backgroundPicture_, pixmap.front(), formats_[connection_.screen().root_visual].id,
        XCB_RENDER_CP_REPEAT, &repeat);
    try {
        connection_.check(created, "RenderCreatePicture");
    } catch (const PlatformError& error) {
        if (error.code() != PlatformError::Code::requestFailed) throw;
        backgroundPicture_ = 0;  // a number that a program which has ended left behind
    }
}

void X11ExcludedWindows::compose(const PixelRect& rect) {
    xcb_connection_t* x = connection_.get();
    xcb_xfixes_set_picture_clip_region(x, composed_.picture, XCB_NONE, 0, 0);
    const xcb_rectangle_t place = rectangle(rect);
    if (backgroundPicture_ != 0) {
        xcb_render_composite(x, XCB_RENDER_PICT_OP_SRC, backgroundPicture_, XCB_NONE, composed_.picture,
                             static_cast<std::int16_t>(area_.left + rect.left),
                             static_cast<std::int16_t>(area_.top + rect.top), 0, 0, place.x, place.y,
                             place.width, place.height);
    } else {
        xcb_render_fill_rectangles(x, XCB_RENDER_PICT_OP_SRC, composed_.picture, {0, 0, 0, 0xffff}, 1,
                                   &place);
    }
    for (const Window& window : windowsBeneath_) composeWindow(window, rect);
}

void X11ExcludedWindows::composeWindow(const Window& window, const PixelRect& rect) {
    const PixelRect bounds = window.bounds.movedBy(-area_.left, -area_.top);
    const PixelRect part = bounds.intersection(rect);
    const auto format = formats_.find(window.visual);
    if (part.isEmpty() || format == formats_.end()) return;
    xcb_connection_t* x = connection_.get();
    Picture& picture = pictures_[window.id];
    if (picture.pixmap == 0) {
        picture = {xcb_generate_id(x), xcb_generate_id(x)};
        const auto named = xcb_composite_name_window_pixmap_checked(x, window.id, picture.pixmap);
        try {
            connection_.check(named, "CompositeNameWindowPixmap");
        } catch (const PlatformError& error) {
            if (error.code() != PlatformError::Code::requestFailed) throw;
            pictures_.erase(window.id);  // it has gone meanwhile, which the next event tells
            return;
        }
        xcb_render_create_picture(x, picture.picture, picture.pixmap, format->second.id, 0, nullptr);
    }
    // Windows need not be rectangular.
    xcb_xfixes_destroy_region(x, shape_);
    xcb_xfixes_create_region_from_window(x, shape_, window.id, XCB_SHAPE_SK_BOUNDING);
    xcb_xfixes_set_picture_clip_region(x, composed_.picture, shape_,
                                       static_cast<std::int16_t>(bounds.left + window.borderWidth),
                                       static_cast<std::int16_t>(bounds.top + window.borderWidth));
    const xcb_rectangle_t place = rectangle(part);
    xcb_render_composite(
        x, format->second.hasAlpha ? XCB_RENDER_PICT_OP_OVER : XCB_RENDER_PICT_OP_SRC, picture.picture,
        XCB_NONE, composed_.picture, static_cast<std::int16_t>(part.left - bounds.left),
        static_cast<std::int16_t>(part.top - bounds.top), 0, 0, place.x, place.y, place.width, place.height);
}

void X11ExcludedWindows::forgetPictures() {
    for (const auto& [window, picture] : pictures_) release(picture);
    pictures_.clear();
    if (backgroundPicture_ != 0) xcb_render_free_picture(connection_.get(), backgroundPicture_);
    backgroundPicture_ = 0;
}

void X11ExcludedWindows::release(const Picture& picture) {
    xcb_render_free_picture(connection_.get(), picture.picture);
    xcb_free_pixmap(connection_.get(), picture.pixmap);
}

}  // namespace varnelle
