#include "support/KeyRobot.h"

#include <xcb/xcb.h>
#include <xcb/xtest.h>

#include <cstdlib>
#include <stdexcept>

namespace varnelle::test {

void KeyRobot::Disconnect::operator()(xcb_connection_t* connection) const {
    xcb_disconnect(connection);
}

KeyRobot::KeyRobot(const std::string& displayName) : connection_(xcb_connect(displayName.c_str(), nullptr)) {}

KeyRobot::~KeyRobot() = default;

void KeyRobot::type(std::uint32_t symbol, std::initializer_list<std::uint32_t> held) {
    for (const std::uint32_t modifier : held) send(modifier, true);
    send(symbol, true);
    send(symbol, false);
    for (const std::uint32_t modifier : held) send(modifier, false);
    free(xcb_get_input_focus_reply(connection_.get(), xcb_get_input_focus(connection_.get()), nullptr));
}

std::uint8_t KeyRobot::keyCode(std::uint32_t symbol) const {
    const xcb_setup_t* setup = xcb_get_setup(connection_.get());
    const auto count = static_cast<std::uint8_t>(setup->max_keycode - setup->min_keycode + 1);
    const std::unique_ptr<xcb_get_keyboard_mapping_reply_t, decltype(&std::free)> reply(
        xcb_get_keyboard_mapping_reply(connection_.get(),
                                       xcb_get_keyboard_mapping(connection_.get(), setup->min_keycode, count),
                                       nullptr),
        &std::free);
    const xcb_keysym_t* symbols = xcb_get_keyboard_mapping_keysyms(reply.get());
    for (int key = 0; key < count; ++key) {
        if (symbols[key * reply->keysyms_per_keycode] == symbol) {
            return static_cast<std::uint8_t>(setup->min_keycode + key);
        }
    }
    throw std::runtime_error("the keyboard has no such key");
}

void KeyRobot::send(std::uint32_t symbol, bool isPressed) {
    xcb_test_fake_input(connection_.get(), isPressed ? XCB_KEY_PRESS : XCB_KEY_RELEASE, keyCode(symbol), 0,
                        XCB_NONE, 0, 0, 0);
    xcb_flush(connection_.get());
}

}  // namespace varnelle::test
