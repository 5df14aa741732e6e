#pragma once

#include <cstdint>
#include <initializer_list>
#include <memory>
#include <string>

struct xcb_connection_t;

namespace varnelle::test {

/// Presses keys of a display, as if a user did. Keys are named by the symbol that they have without
/// modifiers, as in X11's keysymdef.h.
class KeyRobot {
public:
    explicit KeyRobot(const std::string& displayName);
    ~KeyRobot();
    /// Presses and releases a key while others are held.
    void type(std::uint32_t symbol, std::initializer_list<std::uint32_t> held = {});

private:
    struct Disconnect {
        void operator()(xcb_connection_t* connection) const;
    };
    [[nodiscard]] std::uint8_t keyCode(std::uint32_t symbol) const;
    void send(std::uint32_t symbol, bool isPressed);

    std::unique_ptr<xcb_connection_t, Disconnect> connection_;
};

}  // namespace varnelle::test
