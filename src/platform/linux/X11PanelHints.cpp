#include "platform/linux/X11PanelHints.h"

#include <algorithm>
#include <array>
#include <vector>

#include "platform/linux/X11Properties.h"

namespace varnelle {
namespace {

using Numbers = std::vector<std::uint32_t>;

constexpr std::uint32_t kAllWorkspaces = 0xFFFFFFFF;
constexpr std::uint32_t kFromApplication = 1;
/// As a taskbar: some window managers heed the wish of others only.
constexpr std::uint32_t kFromPager = 2;

bool holds(const Numbers& numbers, std::uint32_t number) {
    return std::find(numbers.begin(), numbers.end(), number) != numbers.end();
}

void writeProperty(X11Connection& connection, xcb_window_t window, const char* name, xcb_atom_t type,
                   const Numbers& numbers) {
    xcb_change_property(connection.get(), XCB_PROP_MODE_REPLACE, window, connection.atom(name), type, 32,
                        static_cast<std::uint32_t>(numbers.size()), numbers.data());
}

void sendToManager(X11Connection& connection, xcb_window_t window, const char* type,
                   const std::array<std::uint32_t, 5>& data) {
    xcb_client_message_event_t message{};
    message.response_type = XCB_CLIENT_MESSAGE;
    message.format = 32;
    message.window = window;
    message.type = connection.atom(type);
    std::copy(data.begin(), data.end(), message.data.data32);
    xcb_send_event(connection.get(), 0, connection.screen().root,
                   XCB_EVENT_MASK_SUBSTRUCTURE_NOTIFY | XCB_EVENT_MASK_SUBSTRUCTURE_REDIRECT,
                   reinterpret_cast<const char*>(&message));
}

struct StateWish {
    const char* name;
    bool isSet;
};

std::array<StateWish, 4> statesOf(const PanelBehaviour& behaviour) {
    return {StateWish{"_NET_WM_STATE_ABOVE", true},
            {"_NET_WM_STATE_STICKY", behaviour.isOnAllWorkspaces},
            {"_NET_WM_STATE_SKIP_TASKBAR", !behaviour.isInTaskbarAndPager},
            {"_NET_WM_STATE_SKIP_PAGER", !behaviour.isInTaskbarAndPager}};
}

/// What a window manager looks at when the window is shown.
void writeStates(X11Connection& connection, xcb_window_t window, const PanelBehaviour& behaviour) {
    Numbers states = X11Property(connection, window, "_NET_WM_STATE").numbers();
    for (const StateWish& wish : statesOf(behaviour)) {
        const xcb_atom_t state = connection.atom(wish.name);
        states.erase(std::remove(states.begin(), states.end(), state), states.end());
        if (wish.isSet) states.push_back(state);
    }
    writeProperty(connection, window, "_NET_WM_STATE", XCB_ATOM_ATOM, states);
    if (behaviour.isOnAllWorkspaces)
        writeProperty(connection, window, "_NET_WM_DESKTOP", XCB_ATOM_CARDINAL, {kAllWorkspaces});
}

void sendStates(X11Connection& connection, xcb_window_t window, const PanelBehaviour& behaviour) {
    for (const StateWish& wish : statesOf(behaviour)) {
        sendToManager(connection, window, "_NET_WM_STATE",
                      {wish.isSet ? 1U : 0U, connection.atom(wish.name), 0, kFromApplication, 0});
    }
    Numbers workspace{kAllWorkspaces};
    if (!behaviour.isOnAllWorkspaces) {
        const Numbers own = X11Property(connection, window, "_NET_WM_DESKTOP").numbers();
        if (own.empty() || own.front() != kAllWorkspaces) return;
        workspace = X11Property(connection, connection.screen().root, "_NET_CURRENT_DESKTOP").numbers();
        if (workspace.empty()) return;
    }
    sendToManager(connection, window, "_NET_WM_DESKTOP", {workspace.front(), kFromApplication, 0, 0, 0});
}

/// A window without the input hint that doesn't ask for WM_TAKE_FOCUS either never gets the keyboard.
void writeFocusModel(X11Connection& connection, xcb_window_t window, bool takesKeyboard) {
    constexpr std::size_t numbersInHints = 9;
    constexpr std::uint32_t inputHint = 1;
    Numbers hints = X11Property(connection, window, "WM_HINTS").numbers();
    hints.resize(numbersInHints);
    hints[0] |= inputHint;
    hints[1] = takesKeyboard ? 1 : 0;
    writeProperty(connection, window, "WM_HINTS", XCB_ATOM_WM_HINTS, hints);
    if (takesKeyboard) return;
    Numbers protocols = X11Property(connection, window, "WM_PROTOCOLS").numbers();
    const xcb_atom_t takeFocus = connection.atom("WM_TAKE_FOCUS");
    if (!holds(protocols, takeFocus)) return;
    protocols.erase(std::remove(protocols.begin(), protocols.end(), takeFocus), protocols.end());
    writeProperty(connection, window, "WM_PROTOCOLS", XCB_ATOM_ATOM, protocols);
}

/// Whether the window manager has the window in its care: what it shows of it isn't the program's to write
/// then.
bool isInCareOfManager(X11Connection& connection, xcb_window_t window) {
    constexpr std::uint32_t withdrawn = 0;
    X11Property state(connection, window, "WM_STATE");
    const auto attributes = connection.replyIfGranted<xcb_get_window_attributes_reply_t>(
        xcb_get_window_attributes(connection.get(), window), "GetWindowAttributes");
    const Numbers numbers = state.numbers();
    const bool isMapped = attributes != nullptr && attributes->map_state != XCB_MAP_STATE_UNMAPPED;
    return isMapped || (!numbers.empty() && numbers.front() != withdrawn);
}

}  // namespace

void tellPanelBehaviour(X11Connection& connection, xcb_window_t window, const PanelBehaviour& behaviour) {
    writeFocusModel(connection, window, behaviour.takesKeyboardWhenClicked);
    // Docks stay where they are; what the user may move is a utility window.
    const char* type =
        behaviour.level >= PanelLevel::statusBar ? "_NET_WM_WINDOW_TYPE_DOCK" : "_NET_WM_WINDOW_TYPE_UTILITY";
    writeProperty(connection, window, "_NET_WM_WINDOW_TYPE", XCB_ATOM_ATOM,
                  {connection.atom(type), connection.atom("_NET_WM_WINDOW_TYPE_NORMAL")});
    if (isInCareOfManager(connection, window))
        sendStates(connection, window, behaviour);
    else
        writeStates(connection, window, behaviour);
}

void restackBelow(X11Connection& connection, xcb_window_t window, xcb_window_t sibling) {
    const Numbers supported = X11Property(connection, connection.screen().root, "_NET_SUPPORTED").numbers();
    if (holds(supported, connection.atom("_NET_RESTACK_WINDOW"))) {
        sendToManager(connection, window, "_NET_RESTACK_WINDOW",
                      {kFromPager, sibling, XCB_STACK_MODE_BELOW, 0, 0});
        return;
    }
    const std::array<std::uint32_t, 2> values{sibling, XCB_STACK_MODE_BELOW};
    const auto cookie = xcb_configure_window_checked(
        connection.get(), window, XCB_CONFIG_WINDOW_SIBLING | XCB_CONFIG_WINDOW_STACK_MODE, values.data());
    try {
        connection.check(cookie, "ConfigureWindow");
    } catch (const PlatformError& error) {
        if (error.code() != PlatformError::Code::requestFailed) throw;
        // Decorated windows aren't siblings any more; then the manager is to be asked itself (ICCCM 4.1.5).
        xcb_configure_request_event_t request{};
        request.response_type = XCB_CONFIGURE_REQUEST;
        request.parent = connection.screen().root;
        request.window = window;
        request.sibling = sibling;
        request.stack_mode = XCB_STACK_MODE_BELOW;
        request.value_mask = XCB_CONFIG_WINDOW_SIBLING | XCB_CONFIG_WINDOW_STACK_MODE;
        xcb_send_event(connection.get(), 0, connection.screen().root,
                       XCB_EVENT_MASK_SUBSTRUCTURE_NOTIFY | XCB_EVENT_MASK_SUBSTRUCTURE_REDIRECT,
                       reinterpret_cast<const char*>(&request));
    }
}

void restackOnTop(X11Connection& connection, xcb_window_t window) {
    const std::uint32_t above = XCB_STACK_MODE_ABOVE;
    xcb_configure_window(connection.get(), window, XCB_CONFIG_WINDOW_STACK_MODE, &above);
}

}  // namespace varnelle
