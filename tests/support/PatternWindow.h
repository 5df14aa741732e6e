#pragma once

#include <cstdint>
#include <memory>
#include <string>

struct xcb_connection_t;

namespace varnelle::test {

/// What a window says of itself.
struct WindowProperties {
    bool isManaged = false;  ///< the window manager, if there is one, decorates and lists it
    std::string title{};
    std::string windowClass{};
    std::uint32_t processID = 0;
    bool hasBackground = true;  ///< the server paints black what hasn't been drawn yet
    bool isShown = true;        ///< from the start
};

/// A window that covers a part of an X display and shows rectangles of known colours,
/// which appear on the screen as soon as a call returns. Colours are 0xRRGGBB.
class PatternWindow {
public:
    PatternWindow(const std::string& displayName, int x, int y, int widthPixels, int heightPixels,
                  const WindowProperties& properties = {});
    ~PatternWindow();

    [[nodiscard]] std::uint32_t windowID() const { return window_; }
    void moveTo(int x, int y);
    void resize(int widthPixels, int heightPixels);
    void show();
    void hide();
    void close();
    /// Makes it a part of the other window, as a window manager does with a frame of its own.
    void moveInto(const PatternWindow& frame, int x, int y);
    void moveOut(int x, int y);
    void setTitle(const std::string& title);
    /// Fills a rectangle of the window.
    void fill(int x, int y, int widthPixels, int heightPixels, std::uint32_t color);
    /// Fills the whole window with cells of `cellPixels`; each cell's colour tells its place and `phase`.
    void fillCells(int cellPixels, std::uint32_t phase);
    /// The colour that `fillCells` gives to the pixel.
    static std::uint32_t cellColor(int x, int y, int cellPixels, std::uint32_t phase);

private:
    struct Disconnect {
        void operator()(xcb_connection_t* connection) const;
    };
    void sync();
    void setText(const char* property, const std::string& text);

    std::unique_ptr<xcb_connection_t, Disconnect> connection_;
    int width_;
    int height_;
    std::uint32_t window_ = 0;
    std::uint32_t context_ = 0;
};

/// Moves the pointer of a display and presses its buttons, as if a user did.
class PointerRobot {
public:
    explicit PointerRobot(const std::string& displayName);
    ~PointerRobot();
    void moveTo(int x, int y);
    /// `button` 1 is the left one, 3 the right one.
    void setButton(int button, bool isPressed);

private:
    struct Disconnect {
        void operator()(xcb_connection_t* connection) const;
    };
    void send(std::uint8_t type, std::uint8_t detail, int x, int y);

    std::unique_ptr<xcb_connection_t, Disconnect> connection_;
};

}  // namespace varnelle::test
