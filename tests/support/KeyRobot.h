#pragma once

#include <cstdint>
#include <initializer_list>
#include <memory>
#include <string>

struct xcb_connection_t;

namespace varnelle::test {

/// Symbols of keys that have no letter.
namespace key {
inline constexpr std::uint32_t kSpace = 0x20;
inline constexpr std::uint32_t kTab = 0xff09;
inline constexpr std::uint32_t kReturn = 0xff0d;
inline constexpr std::uint32_t kEscape = 0xff1b;
inline constexpr std::uint32_t kHome = 0xff50;
inline constexpr std::uint32_t kLeft = 0xff51;
inline constexpr std::uint32_t kRight = 0xff53;
inline constexpr std::uint32_t kPageUp = 0xff55;
inline constexpr std::uint32_t kEnd = 0xff57;
inline constexpr std::uint32_t kNumLock = 0xff7f;
inline constexpr std::uint32_t kKeypadHome = 0xff95;
inline constexpr std::uint32_t kF1 = 0xffbe;
inline constexpr std::uint32_t kShift = 0xffe1;
inline constexpr std::uint32_t kControl = 0xffe3;
inline constexpr std::uint32_t kCapsLock = 0xffe5;
inline constexpr std::uint32_t kAlternate = 0xffe9;
inline constexpr std::uint32_t kSuper = 0xffeb;
inline constexpr std::uint32_t kDelete = 0xffff;
}  // namespace key

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
