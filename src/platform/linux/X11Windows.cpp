#include "platform/linux/X11Windows.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <fstream>
#include <map>
#include <utility>

#include "platform/linux/X11Displays.h"
#include "platform/linux/X11Properties.h"

namespace varnelle {
namespace {

constexpr int kDesktopLayer = -1;
constexpr int kPanelLayer = 20;
constexpr int kPopUpLayer = 101;

/// All that the list wants to know of a window, asked for at once.
struct WindowQuery {
    WindowQuery(X11Connection& connection, xcb_window_t id)
        : windowID(id),
          attributes(xcb_get_window_attributes(connection.get(), id)),
          geometry(xcb_get_geometry(connection.get(), id)),
          origin(xcb_translate_coordinates(connection.get(), id, connection.screen().root, 0, 0)),
          name(connection, id, "_NET_WM_NAME"),
          plainName(connection, id, "WM_NAME"),
          processID(connection, id, "_NET_WM_PID"),
          windowClass(connection, id, "WM_CLASS"),
          types(connection, id, "_NET_WM_WINDOW_TYPE"),
          states(connection, id, "_NET_WM_STATE"),
          decoration(connection, id, "_NET_FRAME_EXTENTS"),
          shadow(connection, id, "_GTK_FRAME_EXTENTS") {}

    xcb_window_t windowID;
    xcb_get_window_attributes_cookie_t attributes;
    xcb_get_geometry_cookie_t geometry;
    xcb_translate_coordinates_cookie_t origin;
    X11Property name;
    X11Property plainName;
    X11Property processID;
    X11Property windowClass;
    X11Property types;
    X11Property states;
    X11Property decoration;
    X11Property shadow;
};

bool holds(const std::vector<std::uint32_t>& atoms, xcb_atom_t atom) {
    return std::find(atoms.begin(), atoms.end(), atom) != atoms.end();
}

int layerOf(X11WindowKind kind) {
    switch (kind) {
        case X11WindowKind::desktop:
            return kDesktopLayer;
        case X11WindowKind::panel:
            return kPanelLayer;
        case X11WindowKind::popUp:
            return kPopUpLayer;
        case X11WindowKind::ordinary:
            return 0;
    }
    return 0;
}

/// The name of the program of a process, as the system shows it.
std::string commandOf(std::int64_t processID) {
    std::ifstream file("/proc/" + std::to_string(processID) + "/comm");
    std::string name;
    std::getline(file, name);
    return name;
}

std::optional<ShareableApplication> applicationOf(WindowQuery& query) {
    const std::vector<std::uint32_t> processID = query.processID.numbers();
    const std::string classText = query.windowClass.text();
    ShareableApplication application;
    if (!processID.empty()) application.processID = processID.front();
    // Two texts, each ended by a zero byte: the instance's name and the class.
    const std::size_t classStart = classText.find('\0');
    if (classStart != std::string::npos) {
        application.bundleIdentifier = classText.substr(classStart + 1).c_str();
    }
    application.name = application.bundleIdentifier;
    if (application.name.empty() && application.processID != 0)
        application.name = commandOf(application.processID);
    if (application.processID == 0 && application.name.empty()) return std::nullopt;
    return application;
}

std::optional<ShareableWindow> read(X11Connection& connection, WindowQuery& query,
                                    const ShareableContentOptions& options, double scale) {
    // Everything is read before anything is decided, as an answer that nobody takes stays in memory.
    const auto attributes =
        connection.replyIfGranted<xcb_get_window_attributes_reply_t>(query.attributes, "GetWindowAttributes");
    const auto geometry = connection.replyIfGranted<xcb_get_geometry_reply_t>(query.geometry, "GetGeometry");
    const auto origin =
        connection.replyIfGranted<xcb_translate_coordinates_reply_t>(query.origin, "TranslateCoordinates");
    const std::string name = query.name.text();
    const std::string plainName = query.plainName.text();
    const std::vector<std::uint32_t> types = query.types.numbers();
    const std::vector<std::uint32_t> states = query.states.numbers();
    const std::vector<std::uint32_t> decoration = query.decoration.numbers();
    const std::vector<std::uint32_t> shadow = query.shadow.numbers();
    std::optional<ShareableApplication> application = applicationOf(query);
    if (attributes == nullptr || geometry == nullptr || origin == nullptr) return std::nullopt;

    ShareableWindow window;
    window.windowID = query.windowID;
    window.windowLayer = layerOf(kindOfWindow(connection, types, attributes->override_redirect != 0));
    window.isOnScreen = attributes->map_state == XCB_MAP_STATE_VIEWABLE &&
                        !holds(states, connection.atom("_NET_WM_STATE_HIDDEN"));
    if (options.onScreenWindowsOnly && !window.isOnScreen) return std::nullopt;
    if (options.excludingDesktopWindows && window.windowLayer == kDesktopLayer) return std::nullopt;
    const PixelRect own{origin->dst_x, origin->dst_y, origin->dst_x + geometry->width,
                        origin->dst_y + geometry->height};
    const PixelRect frame = frameOfWindow(own, decoration, shadow);
    window.scale = scale;
    window.frame = {{frame.left / window.scale, frame.top / window.scale},
                    {frame.width() / window.scale, frame.height() / window.scale}};
    window.title = name.empty() ? plainName : name;
    window.owningApplication = std::move(application);
    return window;
}

bool windowExists(X11Connection& connection, xcb_window_t window) {
    return connection.replyIfGranted<xcb_get_geometry_reply_t>(xcb_get_geometry(connection.get(), window),
                                                               "GetGeometry") != nullptr;
}

/// Absent if the window or a frame around it has gone, or it got another frame, in the middle of the look.
std::optional<X11WindowPlace> placeSeenAtOnce(X11Connection& connection, xcb_window_t window) {
    xcb_connection_t* x = connection.get();
    const xcb_window_t root = connection.screen().root;
    X11WindowPlace place;
    place.topLevel = window;
    const auto parentOf = [&](xcb_query_tree_cookie_t cookie) -> std::optional<xcb_window_t> {
        const auto tree = connection.replyIfGranted<xcb_query_tree_reply_t>(cookie, "QueryTree");
        return tree == nullptr ? std::nullopt : std::optional(tree->parent);
    };
    const std::optional<xcb_window_t> windowParent = parentOf(xcb_query_tree(x, window));
    std::optional<xcb_window_t> parent = windowParent;
    while (parent && *parent != root && *parent != XCB_NONE) {
        place.topLevel = *parent;
        parent = parentOf(xcb_query_tree(x, place.topLevel));
    }
    if (!parent) return std::nullopt;
    const auto geometryCookie = xcb_get_geometry(x, place.topLevel);
    const auto parentCookie = xcb_query_tree(x, place.topLevel);
    const auto windowParentCookie = xcb_query_tree(x, window);
    const auto attributesCookie = xcb_get_window_attributes(x, place.topLevel);
    const auto clientCookie = xcb_get_geometry(x, window);
    const auto originCookie = xcb_translate_coordinates(x, window, root, 0, 0);
    X11Property decorationProperty(connection, window, "_NET_FRAME_EXTENTS");
    X11Property shadowProperty(connection, window, "_GTK_FRAME_EXTENTS");
    const auto geometry = connection.replyIfGranted<xcb_get_geometry_reply_t>(geometryCookie, "GetGeometry");
    const bool hasMoved = parentOf(parentCookie) != parent || parentOf(windowParentCookie) != windowParent;
    const auto attributes =
        connection.replyIfGranted<xcb_get_window_attributes_reply_t>(attributesCookie, "GetWindowAttributes");
    const auto client = connection.replyIfGranted<xcb_get_geometry_reply_t>(clientCookie, "GetGeometry");
    const auto origin =
        connection.replyIfGranted<xcb_translate_coordinates_reply_t>(originCookie, "TranslateCoordinates");
    const std::vector<std::uint32_t> decoration = decorationProperty.numbers();
    const std::vector<std::uint32_t> shadow = shadowProperty.numbers();
    if (geometry == nullptr || attributes == nullptr || client == nullptr || origin == nullptr || hasMoved) {
        return std::nullopt;
    }
    const int border = 2 * geometry->border_width;
    place.topLevelBounds = {geometry->x, geometry->y, geometry->x + geometry->width + border,
                            geometry->y + geometry->height + border};
    place.client = {origin->dst_x, origin->dst_y, origin->dst_x + client->width,
                    origin->dst_y + client->height};
    place.frame = frameOfWindow(place.client, decoration, shadow).intersection(place.topLevelBounds);
    if (place.frame.isEmpty()) place.frame = place.topLevelBounds;  // read in the middle of a change
    place.borderWidth = geometry->border_width;
    place.isViewable = attributes->map_state == XCB_MAP_STATE_VIEWABLE;
    return place;
}

}  // namespace

std::vector<ShareableWindow> listWindows(X11Connection& connection, const ShareableContentOptions& options) {
    std::vector<xcb_window_t> ids = managedWindows(connection);
    std::reverse(ids.begin(), ids.end());
    std::vector<WindowQuery> queries;
    queries.reserve(ids.size());
    for (const xcb_window_t id : ids) queries.emplace_back(connection, id);
    const double scale = pointPixelScale(connection);
    std::vector<ShareableWindow> windows;
    for (WindowQuery& query : queries) {
        if (auto window = read(connection, query, options, scale)) windows.push_back(std::move(*window));
    }
    return windows;
}

void bringToFront(X11Connection& connection, xcb_window_t window) {
    xcb_connection_t* x = connection.get();
    const xcb_window_t root = connection.screen().root;
    if (X11Property(connection, root, "_NET_SUPPORTING_WM_CHECK").numbers().empty()) {
        const std::uint32_t above = XCB_STACK_MODE_ABOVE;
        xcb_configure_window(x, window, XCB_CONFIG_WINDOW_STACK_MODE, &above);
        xcb_set_input_focus(x, XCB_INPUT_FOCUS_PARENT, window, XCB_CURRENT_TIME);
    } else {
        // On the user's behalf, as a taskbar does: a program's own wish might only make the window blink.
        constexpr std::uint32_t fromUser = 2;
        xcb_client_message_event_t message{};
        message.response_type = XCB_CLIENT_MESSAGE;
        message.format = 32;
        message.window = window;
        message.type = connection.atom("_NET_ACTIVE_WINDOW");
        message.data.data32[0] = fromUser;
        xcb_send_event(x, 0, root, XCB_EVENT_MASK_SUBSTRUCTURE_NOTIFY | XCB_EVENT_MASK_SUBSTRUCTURE_REDIRECT,
                       reinterpret_cast<const char*>(&message));
    }
    // Requests without an answer are carried out when a later one has been answered.
    connection.reply<xcb_get_input_focus_reply_t>(xcb_get_input_focus(x), "GetInputFocus");
}

std::optional<WindowIcon> iconOfWindow(X11Connection& connection, xcb_window_t window, int sizePixels) {
    const std::vector<std::uint32_t> data = X11Property(connection, window, "_NET_WM_ICON").numbers();
    std::optional<WindowIcon> best;
    // Pictures of several sizes behind each other, each with its width and height in front.
    std::size_t position = 0;
    while (position + 2 < data.size()) {
        const std::uint64_t width = data[position];
        const std::uint64_t height = data[position + 1];
        const std::size_t first = position + 2;
        if (width == 0 || height == 0 || width > 4096 || height > 4096 ||
            width * height > data.size() - first)
            break;
        position = first + static_cast<std::size_t>(width * height);
        const int candidate = static_cast<int>(width);
        const bool isBetter = !best || (best->widthPixels < sizePixels
                                            ? candidate > best->widthPixels
                                            : candidate >= sizePixels && candidate < best->widthPixels);
        if (!isBetter) continue;
        best = WindowIcon{candidate,
                          static_cast<int>(height),
                          {data.begin() + static_cast<std::ptrdiff_t>(first),
                           data.begin() + static_cast<std::ptrdiff_t>(position)}};
    }
    return best;
}

std::optional<X11WindowPlace> placeOfWindow(X11Connection& connection, xcb_window_t window) {
    do {
        if (auto place = placeSeenAtOnce(connection, window)) return place;
    } while (windowExists(connection, window));
    return std::nullopt;
}

}  // namespace varnelle
