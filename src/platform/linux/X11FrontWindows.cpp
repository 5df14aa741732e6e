#include "platform/linux/X11FrontWindows.h"

#include <algorithm>
#include <array>

#include "platform/linux/X11Displays.h"
#include "platform/linux/X11Properties.h"

namespace varnelle {
namespace {

using Clock = std::chrono::steady_clock;

/// Numbers of windows are used again, so what is known about one is asked again now and then.
constexpr std::chrono::seconds kKnownFor{2};
constexpr std::uint32_t kLongestProperty = 4096;
/// A decorated window is the child of its frame, in some window managers its grandchild.
constexpr int kClientSearchDepth = 5;

constexpr std::array kAtomNames{"_NET_ACTIVE_WINDOW", "_NET_CLIENT_LIST_STACKING", "_NET_SUPPORTING_WM_CHECK",
                                "_NET_WM_PID",        "_NET_FRAME_EXTENTS",        "_GTK_FRAME_EXTENTS",
                                "_NET_WM_WINDOW_TYPE"};

}  // namespace

X11FrontWindows::X11FrontWindows(const std::string& displayName)
    : connection_(displayName), pixelsPerPoint_(pointPixelScale(connection_)) {
    static_assert(kAtomNames.size() == static_cast<std::size_t>(AtomName::count));
    for (const char* const name : kAtomNames) atoms_.push_back(connection_.atom(name));
    // Learns the names of types, for which there is no time later.
    (void)kindOfWindow(connection_, {}, false);
}

void X11FrontWindows::beginSample(Clock::time_point deadline) {
    deadline_ = deadline;
    if (Clock::now() - knownSince_ >= kKnownFor) {
        knownSince_ = Clock::now();
        knownWindows_.clear();
        knownClients_.clear();
    }
    places_.clear();
    pointer_ = std::nullopt;
    pointedTopLevel_ = XCB_NONE;
    // All at once, for one wait.
    const xcb_window_t root = connection_.screen().root;
    const auto activeCookie = request(root, AtomName::activeWindow, XCB_ATOM_WINDOW);
    const auto stackingCookie = request(root, AtomName::stackingList, XCB_ATOM_WINDOW);
    const auto pointerCookie = xcb_query_pointer(connection_.get(), root);
    active_ = values(activeCookie);
    stacking_ = values(stackingCookie);
    try {
        const auto reply =
            connection_.reply<xcb_query_pointer_reply_t>(pointerCookie, "QueryPointer", remaining());
        pointer_ = CGPoint{reply->root_x / pixelsPerPoint_, reply->root_y / pixelsPerPoint_};
        pointedTopLevel_ = reply->child;
    } catch (const PlatformError&) {
        // Absent.
    }
}

std::optional<std::int64_t> X11FrontWindows::frontmostProcess() {
    const auto window = activeWindow();
    if (!window) return std::nullopt;
    return traits(*window).processID;
}

std::optional<X11FrontWindows::Window> X11FrontWindows::topmostWindow(std::int64_t processID) {
    for (const xcb_window_t window : stackedWindows()) {
        const Traits& known = traits(window);
        if (known.processID != processID || !known.isOrdinary) continue;
        if (const auto& placed = place(window)) return placed;
    }
    return std::nullopt;
}

std::optional<X11FrontWindows::Pointed> X11FrontWindows::windowUnderPointer() {
    if (!pointer_ || pointedTopLevel_ == XCB_NONE) return std::nullopt;
    const xcb_window_t client = clientIn(pointedTopLevel_);
    if (client == XCB_NONE) return std::nullopt;
    const auto& placed = place(client);
    if (!placed) return std::nullopt;
    return Pointed{*placed, *pointer_};
}

std::chrono::milliseconds X11FrontWindows::remaining() const {
    return std::chrono::duration_cast<std::chrono::milliseconds>(deadline_ - Clock::now());
}

xcb_get_property_cookie_t X11FrontWindows::request(xcb_window_t window, AtomName name, xcb_atom_t type) {
    return xcb_get_property(connection_.get(), 0, window, atom(name), type, 0, kLongestProperty);
}

std::vector<std::uint32_t> X11FrontWindows::values(xcb_get_property_cookie_t cookie) {
    try {
        const auto reply = connection_.reply<xcb_get_property_reply_t>(cookie, "GetProperty", remaining());
        if (reply->format != 32) return {};
        const auto* first = static_cast<const std::uint32_t*>(xcb_get_property_value(reply.get()));
        return {first, first + reply->value_len};
    } catch (const PlatformError&) {
        return {};
    }
}

bool X11FrontWindows::hasWindowManager() {
    return !property(connection_.screen().root, AtomName::windowManager, XCB_ATOM_WINDOW).empty();
}

std::optional<xcb_window_t> X11FrontWindows::activeWindow() {
    const xcb_window_t root = connection_.screen().root;
    if (!active_.empty() && active_.front() != XCB_NONE) return active_.front();
    if (hasWindowManager()) return std::nullopt;
    try {
        // The focus may be deep inside a program's window.
        xcb_window_t window = connection_
                                  .reply<xcb_get_input_focus_reply_t>(xcb_get_input_focus(connection_.get()),
                                                                      "GetInputFocus", remaining())
                                  ->focus;
        while (window != XCB_NONE && window != XCB_INPUT_FOCUS_POINTER_ROOT && window != root) {
            const auto tree = connection_.reply<xcb_query_tree_reply_t>(
                xcb_query_tree(connection_.get(), window), "QueryTree", remaining());
            if (tree->parent == root) return window;
            window = tree->parent;
        }
    } catch (const PlatformError&) {
        // As above.
    }
    return std::nullopt;
}

std::vector<xcb_window_t> X11FrontWindows::stackedWindows() {
    const xcb_window_t root = connection_.screen().root;
    std::vector<xcb_window_t> windows = stacking_;
    if (windows.empty()) {
        try {
            const auto tree = connection_.reply<xcb_query_tree_reply_t>(
                xcb_query_tree(connection_.get(), root), "QueryTree", remaining());
            const xcb_window_t* children = xcb_query_tree_children(tree.get());
            windows.assign(children, children + tree->children_len);
        } catch (const PlatformError&) {
            return {};
        }
    }
    std::reverse(windows.begin(), windows.end());
    return windows;
}

const X11FrontWindows::Traits& X11FrontWindows::traits(xcb_window_t window) {
    const auto known = knownWindows_.find(window);
    if (known != knownWindows_.end()) return known->second;
    const auto processCookie = request(window, AtomName::processID, XCB_ATOM_CARDINAL);
    const auto typeCookie = request(window, AtomName::windowType, XCB_ATOM_ATOM);
    const auto attributesCookie = xcb_get_window_attributes(connection_.get(), window);
    const auto process = values(processCookie);
    const auto types = values(typeCookie);
    bool overridesManager = false;
    try {
        overridesManager = connection_
                               .reply<xcb_get_window_attributes_reply_t>(attributesCookie,
                                                                         "GetWindowAttributes", remaining())
                               ->override_redirect != 0;
    } catch (const PlatformError&) {
        // It has just gone, and is asked again when its number is used again.
    }
    Traits traits;
    traits.tellsProcess = !process.empty() && process.front() != 0;
    const std::uint32_t programBits = ~xcb_get_setup(connection_.get())->resource_id_mask;
    traits.processID =
        traits.tellsProcess ? std::int64_t{process.front()} : -std::int64_t{window & programBits};
    traits.isOrdinary = kindOfWindow(connection_, types, overridesManager) == X11WindowKind::ordinary;
    return knownWindows_.emplace(window, traits).first->second;
}

const std::optional<X11FrontWindows::Window>& X11FrontWindows::place(xcb_window_t window) {
    const auto known = places_.find(window);
    if (known != places_.end()) return known->second;
    return places_.emplace(window, askPlace(window)).first->second;
}

std::optional<X11FrontWindows::Window> X11FrontWindows::askPlace(xcb_window_t window) {
    const auto attributesCookie = xcb_get_window_attributes(connection_.get(), window);
    const auto geometryCookie = xcb_get_geometry(connection_.get(), window);
    const auto placeCookie =
        xcb_translate_coordinates(connection_.get(), window, connection_.screen().root, 0, 0);
    const auto frameCookie = request(window, AtomName::frameExtents, XCB_ATOM_CARDINAL);
    const auto shadowCookie = request(window, AtomName::shadowExtents, XCB_ATOM_CARDINAL);
    try {
        const auto attributes = connection_.reply<xcb_get_window_attributes_reply_t>(
            attributesCookie, "GetWindowAttributes", remaining());
        const auto geometry =
            connection_.reply<xcb_get_geometry_reply_t>(geometryCookie, "GetGeometry", remaining());
        const auto origin = connection_.reply<xcb_translate_coordinates_reply_t>(
            placeCookie, "TranslateCoordinates", remaining());
        const auto frameSides = values(frameCookie);
        const auto shadowSides = values(shadowCookie);
        if (attributes->map_state != XCB_MAP_STATE_VIEWABLE) return std::nullopt;
        const PixelRect own{origin->dst_x, origin->dst_y, origin->dst_x + geometry->width,
                            origin->dst_y + geometry->height};
        return Window{window, traits(window).processID, points(own),
                      points(frameOfWindow(own, frameSides, shadowSides))};
    } catch (const PlatformError&) {
        // A window that has just gone fails all of them; their answers must not pile up.
        for (const unsigned int sequence :
             {attributesCookie.sequence, geometryCookie.sequence, placeCookie.sequence, frameCookie.sequence,
              shadowCookie.sequence}) {
            xcb_discard_reply(connection_.get(), sequence);
        }
        return std::nullopt;
    }
}

CGRect X11FrontWindows::points(const PixelRect& rect) const {
    return {{rect.left / pixelsPerPoint_, rect.top / pixelsPerPoint_},
            {rect.width() / pixelsPerPoint_, rect.height() / pixelsPerPoint_}};
}

/// The window that tells its program: the top-level one itself, or what a window manager put into it where
/// the pointer is.
xcb_window_t X11FrontWindows::clientIn(xcb_window_t topLevel) {
    const auto known = knownClients_.find(topLevel);
    if (known != knownClients_.end()) return known->second;
    xcb_window_t window = topLevel;
    try {
        for (int depth = 0; depth < kClientSearchDepth && window != XCB_NONE; ++depth) {
            if (traits(window).tellsProcess) {
                knownClients_[topLevel] = window;
                return window;
            }
            window = connection_
                         .reply<xcb_query_pointer_reply_t>(xcb_query_pointer(connection_.get(), window),
                                                           "QueryPointer", remaining())
                         ->child;
        }
    } catch (const PlatformError&) {
        // The window went away, or the display did.
    }
    return XCB_NONE;
}

}  // namespace varnelle
