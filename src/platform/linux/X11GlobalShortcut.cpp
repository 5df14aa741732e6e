#include "platform/linux/X11GlobalShortcut.h"

#include <fmt/format.h>
#include <xkbcommon/xkbcommon-keysyms.h>
#include <xkbcommon/xkbcommon.h>

#include <algorithm>
#include <utility>

#include "foundation/Log.h"
#include "platform/linux/XcbXkb.h"

namespace varnelle {
namespace {

constexpr std::uint16_t kErrorAccess = 10;

std::string nameOf(const KeyChord& chord) {
    std::string name;
    if (chord.hasControl) name += "Ctrl+";
    if (chord.hasAlternate) name += "Alt+";
    if (chord.hasShift) name += "Shift+";
    if (chord.hasCommand) name += "Super+";
    char key[8]{};
    xkb_keysym_to_utf8(xkb_utf32_to_keysym(chord.key), key, sizeof key);
    return name + key;
}

/// Every combination of the modifiers in `mask`.
std::vector<unsigned int> combinations(unsigned int mask) {
    std::vector<unsigned int> result{0};
    for (unsigned int part = mask; part != 0; part = (part - 1) & mask) result.push_back(part);
    return result;
}

}  // namespace

X11GlobalShortcut::X11GlobalShortcut(const std::string& displayName, const KeyChord& chord,
                                     std::function<void()> onPress)
    : connection_(displayName), chord_(chord), onPress_(std::move(onPress)) {
    useKeyboardExtension();
    strokes_ = findStrokes();
    grab(strokes_);
    thread_ = std::make_unique<X11EventThread>(connection_, std::chrono::milliseconds{0},
                                               [this](const xcb_generic_event_t& event) { handle(event); });
}

void X11GlobalShortcut::useKeyboardExtension() {
    if (!connection_.hasExtension(xcb_xkb_id)) return;
    xcb_connection_t* x = connection_.get();
    connection_.reply<xcb_xkb_use_extension_reply_t>(
        xcb_xkb_use_extension(x, XCB_XKB_MAJOR_VERSION, XCB_XKB_MINOR_VERSION), "XkbUseExtension");
    // A key that is held repeats as presses without releases between them.
    constexpr std::uint32_t flag = XCB_XKB_PER_CLIENT_FLAG_DETECTABLE_AUTO_REPEAT;
    connection_.replyIfGranted<xcb_xkb_per_client_flags_reply_t>(
        xcb_xkb_per_client_flags(x, XCB_XKB_ID_USE_CORE_KBD, flag, flag, 0, 0, 0), "XkbPerClientFlags");
    // A program that knows the extension hears of another keyboard through it alone.
    constexpr std::uint16_t events = XCB_XKB_EVENT_TYPE_NEW_KEYBOARD_NOTIFY | XCB_XKB_EVENT_TYPE_MAP_NOTIFY;
    constexpr std::uint16_t parts = XCB_XKB_MAP_PART_KEY_SYMS | XCB_XKB_MAP_PART_MODIFIER_MAP;
    xcb_xkb_select_events(x, XCB_XKB_ID_USE_CORE_KBD, events, 0, events, parts, parts, nullptr);
    extensionEvent_ = xcb_get_extension_data(x, &xcb_xkb_id)->first_event;
}

std::set<X11GlobalShortcut::Stroke> X11GlobalShortcut::findStrokes() {
    const std::uint16_t alternate = modifiersOf({XKB_KEY_Alt_L, XKB_KEY_Alt_R});
    const std::uint16_t command = modifiersOf({XKB_KEY_Super_L, XKB_KEY_Super_R});
    const std::uint16_t numberLock = modifiersOf({XKB_KEY_Num_Lock, XKB_KEY_Scroll_Lock});
    const std::vector<xcb_keycode_t> keys = keysOf(xkb_utf32_to_keysym(chord_.key));
    if (keys.empty() || (chord_.hasAlternate && alternate == 0) || (chord_.hasCommand && command == 0)) {
        throw PlatformError(PlatformError::Code::unsupported,
                            fmt::format("The keyboard of the X display “{}” has no key for {}.",
                                        connection_.displayName(), nameOf(chord_)));
    }
    unsigned int wanted = 0;
    if (chord_.hasShift) wanted |= XCB_MOD_MASK_SHIFT;
    if (chord_.hasControl) wanted |= XCB_MOD_MASK_CONTROL;
    if (chord_.hasAlternate) wanted |= alternate;
    if (chord_.hasCommand) wanted |= command;
    const unsigned int locks = (numberLock | XCB_MOD_MASK_LOCK) & ~wanted;
    std::set<Stroke> strokes;
    for (const xcb_keycode_t key : keys) {
        for (const unsigned int lock : combinations(locks)) {
            strokes.emplace(key, static_cast<std::uint16_t>(wanted | lock));
        }
    }
    return strokes;
}

void X11GlobalShortcut::grab(const std::set<Stroke>& strokes) {
    std::vector<xcb_void_cookie_t> cookies;
    cookies.reserve(strokes.size());
    for (const auto& [key, modifiers] : strokes) {
        cookies.push_back(xcb_grab_key_checked(connection_.get(), 0, connection_.screen().root, modifiers,
                                               key, XCB_GRAB_MODE_ASYNC, XCB_GRAB_MODE_ASYNC));
    }
    // Errors, if there are any, arrive before this answer.
    connection_.reply<xcb_get_input_focus_reply_t>(xcb_get_input_focus(connection_.get()), "GetInputFocus");
    std::uint16_t errorCode = 0;
    for (const xcb_void_cookie_t cookie : cookies) {
        const XReply<xcb_generic_error_t> error(xcb_request_check(connection_.get(), cookie));
        if (error != nullptr) errorCode = error->error_code;
    }
    if (errorCode == 0) return;
    release(strokes);
    if (errorCode == kErrorAccess) {
        throw PlatformError(PlatformError::Code::requestFailed,
                            fmt::format("Another program has {}.", nameOf(chord_)));
    }
    throw PlatformError(PlatformError::Code::requestFailed,
                        fmt::format("The X display “{}” refused the request GrabKey (error {}).",
                                    connection_.displayName(), errorCode));
}

void X11GlobalShortcut::release(const std::set<Stroke>& strokes) {
    for (const auto& [key, modifiers] : strokes) {
        xcb_ungrab_key(connection_.get(), key, connection_.screen().root, modifiers);
    }
    xcb_flush(connection_.get());
}

void X11GlobalShortcut::handle(const xcb_generic_event_t& event) {
    const int type = event.response_type & 0x7F;
    if (type == XCB_KEY_PRESS) {
        if (!std::exchange(isPressed_, true)) onPress_();
    } else if (type == XCB_KEY_RELEASE) {
        isPressed_ = false;
    } else if (type == XCB_MAPPING_NOTIFY || (extensionEvent_ != 0 && type == extensionEvent_)) {
        followKeyboard();
    }
}

/// Often nothing that matters has changed: the server tells of a keyboard already when another one is used.
/// The chord isn't let go then, as it may be pressed just now.
void X11GlobalShortcut::followKeyboard() {
    const std::set<Stroke> former = std::exchange(strokes_, {});
    try {
        const std::set<Stroke> strokes = findStrokes();
        if (strokes != former) {
            release(former);
            isPressed_ = false;
            grab(strokes);
        }
        strokes_ = strokes;
    } catch (const PlatformError& error) {
        release(former);
        isPressed_ = false;
        if (!former.empty()) logger(LogCategory::app).warn("A shortcut is lost: {}", error.what());
    }
}

std::vector<xcb_keycode_t> X11GlobalShortcut::keysOf(std::uint32_t symbol) {
    const xcb_setup_t* setup = xcb_get_setup(connection_.get());
    const int count = setup->max_keycode - setup->min_keycode + 1;
    const auto mapping = connection_.reply<xcb_get_keyboard_mapping_reply_t>(
        xcb_get_keyboard_mapping(connection_.get(), setup->min_keycode, static_cast<std::uint8_t>(count)),
        "GetKeyboardMapping");
    const xcb_keysym_t* symbols = xcb_get_keyboard_mapping_keysyms(mapping.get());
    std::vector<xcb_keycode_t> keys;
    for (int key = 0; key < count; ++key) {
        const xcb_keysym_t* first = symbols + key * mapping->keysyms_per_keycode;
        const xcb_keysym_t* last = first + mapping->keysyms_per_keycode;
        if (std::find(first, last, symbol) != last)
            keys.push_back(static_cast<xcb_keycode_t>(setup->min_keycode + key));
    }
    return keys;
}

std::uint16_t X11GlobalShortcut::modifiersOf(const std::vector<std::uint32_t>& symbols) {
    std::vector<xcb_keycode_t> keys;
    for (const std::uint32_t symbol : symbols) {
        const auto further = keysOf(symbol);
        keys.insert(keys.end(), further.begin(), further.end());
    }
    const auto mapping = connection_.reply<xcb_get_modifier_mapping_reply_t>(
        xcb_get_modifier_mapping(connection_.get()), "GetModifierMapping");
    const xcb_keycode_t* modifierKeys = xcb_get_modifier_mapping_keycodes(mapping.get());
    // Shift, Lock and Control come first, and Alt may also be a second meaning of a key that sets one of
    // them.
    constexpr int firstFree = 3;
    std::uint16_t mask = 0;
    for (int modifier = firstFree; modifier < 8; ++modifier) {
        const xcb_keycode_t* first = modifierKeys + modifier * mapping->keycodes_per_modifier;
        for (int i = 0; i < mapping->keycodes_per_modifier; ++i) {
            if (first[i] != 0 && std::find(keys.begin(), keys.end(), first[i]) != keys.end())
                mask = static_cast<std::uint16_t>(mask | 1U << modifier);
        }
    }
    return mask;
}

}  // namespace varnelle
