#include "platform/linux/X11Properties.h"

#include <algorithm>
#include <array>
#include <string_view>
#include <utility>

namespace varnelle {

namespace {

/// The old texts of X are in Latin-1.
std::string fromLatin1(std::string_view text) {
    std::string utf8;
    for (const char c : text) {
        const auto code = static_cast<unsigned char>(c);
        if (code < 0x80) {
            utf8 += c;
        } else {
            utf8 += static_cast<char>(0xc0 | code >> 6);
            utf8 += static_cast<char>(0x80 | (code & 0x3f));
        }
    }
    return utf8;
}

/// What is added on each side.
struct Sides {
    int left = 0;
    int right = 0;
    int top = 0;
    int bottom = 0;
};

Sides sidesFrom(const std::vector<std::uint32_t>& numbers) {
    if (numbers.size() < 4) return {};
    // No sensible window has margins that large; such numbers are negative ones or worse.
    constexpr std::uint32_t most = 1000;
    if (std::any_of(numbers.begin(), numbers.begin() + 4, [](std::uint32_t side) { return side > most; }))
        return {};
    return {static_cast<int>(numbers[0]), static_cast<int>(numbers[1]), static_cast<int>(numbers[2]),
            static_cast<int>(numbers[3])};
}

}  // namespace

X11Property::X11Property(X11Connection& connection, xcb_window_t window, const char* name)
    : connection_(connection),
      cookie_(xcb_get_property(connection.get(), 0, window, connection.atom(name), XCB_GET_PROPERTY_TYPE_ANY,
                               0, kMaximumBytes / 4)) {}

std::vector<std::uint32_t> X11Property::numbers() {
    const auto reply = connection_.replyIfGranted<xcb_get_property_reply_t>(cookie_, "GetProperty");
    if (reply == nullptr || reply->format != 32) return {};
    const auto* first = static_cast<const std::uint32_t*>(xcb_get_property_value(reply.get()));
    return {first, first + reply->value_len};
}

std::string X11Property::text() {
    const auto reply = connection_.replyIfGranted<xcb_get_property_reply_t>(cookie_, "GetProperty");
    if (reply == nullptr || reply->format != 8) return {};
    const std::string_view bytes{static_cast<const char*>(xcb_get_property_value(reply.get())),
                                 reply->value_len};
    return reply->type == XCB_ATOM_STRING ? fromLatin1(bytes) : std::string(bytes);
}

X11WindowKind kindOfWindow(X11Connection& connection, const std::vector<std::uint32_t>& types,
                           bool overridesManager) {
    constexpr std::array kinds{
        std::pair{"_NET_WM_WINDOW_TYPE_DESKTOP", X11WindowKind::desktop},
        std::pair{"_NET_WM_WINDOW_TYPE_DOCK", X11WindowKind::panel},
        std::pair{"_NET_WM_WINDOW_TYPE_NOTIFICATION", X11WindowKind::popUp},
        std::pair{"_NET_WM_WINDOW_TYPE_TOOLTIP", X11WindowKind::popUp},
        std::pair{"_NET_WM_WINDOW_TYPE_SPLASH", X11WindowKind::popUp},
        std::pair{"_NET_WM_WINDOW_TYPE_DROPDOWN_MENU", X11WindowKind::popUp},
        std::pair{"_NET_WM_WINDOW_TYPE_POPUP_MENU", X11WindowKind::popUp},
        std::pair{"_NET_WM_WINDOW_TYPE_COMBO", X11WindowKind::popUp},
        std::pair{"_NET_WM_WINDOW_TYPE_DND", X11WindowKind::popUp},
    };
    std::optional<X11WindowKind> known;
    // All are looked up, so that the server need not be asked again.
    for (const auto& [name, kind] : kinds) {
        const xcb_atom_t type = connection.atom(name);
        if (!known && std::find(types.begin(), types.end(), type) != types.end()) known = kind;
    }
    return known.value_or(overridesManager ? X11WindowKind::popUp : X11WindowKind::ordinary);
}

PixelRect frameOfWindow(const PixelRect& client, const std::vector<std::uint32_t>& decoration,
                        const std::vector<std::uint32_t>& shadow) {
    const Sides added = sidesFrom(decoration);
    const Sides removed = sidesFrom(shadow);
    const PixelRect outer{client.left - added.left, client.top - added.top, client.right + added.right,
                          client.bottom + added.bottom};
    const PixelRect inner{outer.left + removed.left, outer.top + removed.top, outer.right - removed.right,
                          outer.bottom - removed.bottom};
    return inner.isEmpty() ? outer : inner;
}

std::vector<xcb_window_t> managedWindows(X11Connection& connection) {
    const xcb_window_t root = connection.screen().root;
    X11Property stacking(connection, root, "_NET_CLIENT_LIST_STACKING");
    X11Property unordered(connection, root, "_NET_CLIENT_LIST");
    X11Property managerCheck(connection, root, "_NET_SUPPORTING_WM_CHECK");
    std::vector<xcb_window_t> windows = stacking.numbers();
    std::vector<xcb_window_t> fallback = unordered.numbers();
    const bool hasManager = !managerCheck.numbers().empty();
    if (!windows.empty()) return windows;
    if (hasManager || !fallback.empty()) return fallback;

    const auto tree =
        connection.reply<xcb_query_tree_reply_t>(xcb_query_tree(connection.get(), root), "QueryTree");
    const xcb_window_t* children = xcb_query_tree_children(tree.get());
    std::vector<xcb_get_window_attributes_cookie_t> cookies;
    cookies.reserve(static_cast<std::size_t>(xcb_query_tree_children_length(tree.get())));
    for (int i = 0; i < xcb_query_tree_children_length(tree.get()); ++i) {
        cookies.push_back(xcb_get_window_attributes(connection.get(), children[i]));
    }
    for (std::size_t i = 0; i < cookies.size(); ++i) {
        const auto attributes =
            connection.replyIfGranted<xcb_get_window_attributes_reply_t>(cookies[i], "GetWindowAttributes");
        const bool isVisible = attributes != nullptr && attributes->_class == XCB_WINDOW_CLASS_INPUT_OUTPUT &&
                               attributes->map_state == XCB_MAP_STATE_VIEWABLE;
        if (isVisible) windows.push_back(children[i]);
    }
    return windows;
}

}  // namespace varnelle
