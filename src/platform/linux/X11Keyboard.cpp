#include "platform/linux/X11Keyboard.h"

#include <xkbcommon/xkbcommon-keysyms.h>
#include <xkbcommon/xkbcommon-x11.h>

#include <algorithm>
#include <array>

#include "platform/linux/XcbXkb.h"

namespace varnelle {
namespace {

/// With their twins on the keypad, which the layout only gives while NumLock is off.
constexpr std::array<xkb_keysym_t, 16> navigationKeyCodes{
    XKB_KEY_Home,    XKB_KEY_Page_Up,    XKB_KEY_End,     XKB_KEY_Page_Down,
    XKB_KEY_Left,    XKB_KEY_Right,      XKB_KEY_Down,    XKB_KEY_Up,
    XKB_KEY_KP_Home, XKB_KEY_KP_Page_Up, XKB_KEY_KP_End,  XKB_KEY_KP_Page_Down,
    XKB_KEY_KP_Left, XKB_KEY_KP_Right,   XKB_KEY_KP_Down, XKB_KEY_KP_Up};

bool isWithin(xkb_keysym_t symbol, xkb_keysym_t first, xkb_keysym_t last) {
    return symbol >= first && symbol <= last;
}

bool isModifier(xkb_keysym_t symbol) {
    return isWithin(symbol, XKB_KEY_Shift_L, XKB_KEY_Hyper_R) ||
           isWithin(symbol, XKB_KEY_ISO_Lock, XKB_KEY_ISO_Last_Group_Lock) ||
           isWithin(symbol, XKB_KEY_ISO_Level5_Shift, XKB_KEY_ISO_Level5_Lock) ||
           symbol == XKB_KEY_Mode_switch || symbol == XKB_KEY_Num_Lock;
}

/// The block that vendors' keys have in the X protocol's list of symbols.
bool isMachineKey(xkb_keysym_t symbol) {
    return isWithin(symbol, 0x10080000, 0x1008FFFF);
}

}  // namespace

void X11Keyboard::Release::operator()(xkb_context* context) const {
    xkb_context_unref(context);
}

void X11Keyboard::Release::operator()(xkb_keymap* keymap) const {
    xkb_keymap_unref(keymap);
}

void X11Keyboard::Release::operator()(xkb_state* state) const {
    xkb_state_unref(state);
}

X11Keyboard::X11Keyboard(X11Connection& connection) : connection_(connection) {
    const bool hasExtension =
        xkb_x11_setup_xkb_extension(connection_.get(), XKB_X11_MIN_MAJOR_XKB_VERSION,
                                    XKB_X11_MIN_MINOR_XKB_VERSION, XKB_X11_SETUP_XKB_EXTENSION_NO_FLAGS,
                                    nullptr, nullptr, &firstEvent_, nullptr) != 0;
    if (hasExtension) deviceID_ = xkb_x11_get_core_keyboard_device_id(connection_.get());
    context_.reset(xkb_context_new(XKB_CONTEXT_NO_FLAGS));
    if (deviceID_ >= 0 && context_ != nullptr) {
        // Selected before it is read, so that no change is missed.
        selectEvents();
        load();
    }
    if (state_ == nullptr) {
        throw PlatformError(PlatformError::Code::unsupported, "The X display “" + connection_.displayName() +
                                                                  "” doesn't tell the keyboard's layout.");
    }
}

X11Keyboard::~X11Keyboard() = default;

bool X11Keyboard::follow(const xcb_generic_event_t& event) {
    if ((event.response_type & 0x7F) != firstEvent_) return false;
    // All events of the extension share a number; the second byte tells which one it is.
    const auto kind = event.pad0;
    if (kind == XCB_XKB_STATE_NOTIFY) {
        const auto& change = reinterpret_cast<const xcb_xkb_state_notify_event_t&>(event);
        xkb_state_update_mask(state_.get(), change.baseMods, change.latchedMods, change.lockedMods,
                              static_cast<xkb_layout_index_t>(change.baseGroup),
                              static_cast<xkb_layout_index_t>(change.latchedGroup), change.lockedGroup);
    } else {
        load();
    }
    return true;
}

std::optional<KeyDownEvent> X11Keyboard::keyDown(std::uint32_t keyCode) const {
    const xkb_keysym_t symbol = xkb_state_key_get_one_sym(state_.get(), keyCode);
    if (symbol == XKB_KEY_NoSymbol || isModifier(symbol) || isMachineKey(symbol)) return std::nullopt;
    const auto isActive = [this](const char* modifier) {
        return xkb_state_mod_name_is_active(state_.get(), modifier, XKB_STATE_MODS_EFFECTIVE) > 0;
    };
    return KeyDownEvent{
        isActive(XKB_MOD_NAME_CTRL), isActive(XKB_MOD_NAME_ALT), isActive(XKB_MOD_NAME_LOGO),
        std::find(navigationKeyCodes.begin(), navigationKeyCodes.end(), symbol) != navigationKeyCodes.end()};
}

void X11Keyboard::selectEvents() {
    constexpr std::uint16_t events = XCB_XKB_EVENT_TYPE_NEW_KEYBOARD_NOTIFY | XCB_XKB_EVENT_TYPE_MAP_NOTIFY |
                                     XCB_XKB_EVENT_TYPE_STATE_NOTIFY;
    constexpr std::uint16_t parts = XCB_XKB_MAP_PART_KEY_TYPES | XCB_XKB_MAP_PART_KEY_SYMS |
                                    XCB_XKB_MAP_PART_MODIFIER_MAP | XCB_XKB_MAP_PART_VIRTUAL_MODS |
                                    XCB_XKB_MAP_PART_VIRTUAL_MOD_MAP;
    constexpr std::uint16_t state = XCB_XKB_STATE_PART_MODIFIER_BASE | XCB_XKB_STATE_PART_MODIFIER_LATCH |
                                    XCB_XKB_STATE_PART_MODIFIER_LOCK | XCB_XKB_STATE_PART_GROUP_BASE |
                                    XCB_XKB_STATE_PART_GROUP_LATCH | XCB_XKB_STATE_PART_GROUP_LOCK;
    constexpr std::uint16_t keyboard = XCB_XKB_NKN_DETAIL_KEYCODES;
    xcb_xkb_select_events_details_t details{};
    details.affectNewKeyboard = keyboard;
    details.newKeyboardDetails = keyboard;
    details.affectState = state;
    details.stateDetails = state;
    connection_.check(
        xcb_xkb_select_events_aux_checked(connection_.get(), static_cast<xcb_xkb_device_spec_t>(deviceID_),
                                          events, 0, 0, parts, parts, &details),
        "XkbSelectEvents");
}

void X11Keyboard::load() {
    std::unique_ptr<xkb_keymap, Release> keymap(xkb_x11_keymap_new_from_device(
        context_.get(), connection_.get(), deviceID_, XKB_KEYMAP_COMPILE_NO_FLAGS));
    if (keymap == nullptr) return;
    // Later on what is in force is known from the events so far. The server would tell what is in force now,
    // and the keys that were pressed before now are still to come.
    std::unique_ptr<xkb_state, Release> state(
        state_ == nullptr ? xkb_x11_state_new_from_device(keymap.get(), connection_.get(), deviceID_)
                          : xkb_state_new(keymap.get()));
    if (state == nullptr) return;
    if (state_ != nullptr) {
        const auto modifiers = [this](xkb_state_component part) {
            return xkb_state_serialize_mods(state_.get(), part);
        };
        const auto layout = [this](xkb_state_component part) {
            return xkb_state_serialize_layout(state_.get(), part);
        };
        xkb_state_update_mask(state.get(), modifiers(XKB_STATE_MODS_DEPRESSED),
                              modifiers(XKB_STATE_MODS_LATCHED), modifiers(XKB_STATE_MODS_LOCKED),
                              layout(XKB_STATE_LAYOUT_DEPRESSED), layout(XKB_STATE_LAYOUT_LATCHED),
                              layout(XKB_STATE_LAYOUT_LOCKED));
    }
    state_ = std::move(state);
    keymap_ = std::move(keymap);
}

}  // namespace varnelle
