#pragma once

#include <xcb/xcb.h>

#include <cstdint>
#include <memory>
#include <optional>

#include "platform/InputMonitors.h"
#include "platform/linux/X11Connection.h"

struct xkb_context;
struct xkb_keymap;
struct xkb_state;

namespace varnelle {

/// The keyboard's layout and the modifiers that are in force, followed by the events of a connection, so that
/// a key is read with what was in force when it went down. For one thread at a time.
class X11Keyboard {
public:
    /// Throws `PlatformError` if the server doesn't tell its layout.
    explicit X11Keyboard(X11Connection& connection);
    ~X11Keyboard();

    /// Takes an event that comes from the server's keyboard extension; false if it isn't one.
    bool follow(const xcb_generic_event_t& event);
    /// A key that goes down; absent for modifiers, for keys of the machine (volume, brightness) and for those
    /// without a meaning.
    [[nodiscard]] std::optional<KeyDownEvent> keyDown(std::uint32_t keyCode) const;

private:
    struct Release {
        void operator()(xkb_context* context) const;
        void operator()(xkb_keymap* keymap) const;
        void operator()(xkb_state* state) const;
    };

    void selectEvents();
    void load();

    X11Connection& connection_;
    std::uint8_t firstEvent_ = 0;
    std::int32_t deviceID_ = -1;
    std::unique_ptr<xkb_context, Release> context_;
    std::unique_ptr<xkb_keymap, Release> keymap_;
    std::unique_ptr<xkb_state, Release> state_;
};

}  // namespace varnelle
