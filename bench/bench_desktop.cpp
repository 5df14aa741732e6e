#include <unistd.h>
#include <xcb/xcb.h>

#include <array>
#include <chrono>
#include <cstdlib>
#include <iostream>
#include <random>
#include <string_view>
#include <thread>

namespace {

using Clock = std::chrono::steady_clock;

constexpr int kFrameRate = 60;
constexpr std::uint32_t kDesktop = 0x233044;
constexpr std::uint32_t kPaper = 0x10151f;
constexpr std::array<std::uint32_t, 4> kInks{0xc8d3e6, 0x8fc7a0, 0xd9a86c, 0x9db4ff};

// Pixels.
constexpr int kLeft = 160;
constexpr int kTop = 60;
constexpr int kWidth = 1600;
constexpr int kHeight = 960;
constexpr int kLineHeight = 16;
constexpr int kScrollStep = 4;
constexpr int kColumnWidth = 6;

/// A large window full of text, drawn with the server's own font, as a terminal does.
class TextWindow {
public:
    explicit TextWindow(xcb_connection_t* connection) : connection_(connection) {
        const xcb_screen_t* screen = xcb_setup_roots_iterator(xcb_get_setup(connection)).data;
        xcb_change_window_attributes(connection, screen->root, XCB_CW_BACK_PIXEL, &kDesktop);
        xcb_clear_area(connection, 0, screen->root, 0, 0, 0, 0);
        window_ = xcb_generate_id(connection);
        const std::array<std::uint32_t, 2> values{kPaper, 1};
        xcb_create_window(connection, XCB_COPY_FROM_PARENT, window_, screen->root, kLeft, kTop, kWidth,
                          kHeight, 0, XCB_WINDOW_CLASS_INPUT_OUTPUT, screen->root_visual,
                          XCB_CW_BACK_PIXEL | XCB_CW_OVERRIDE_REDIRECT, values.data());
        const xcb_font_t font = xcb_generate_id(connection);
        constexpr std::string_view fontName = "fixed";
        xcb_open_font(connection, font, static_cast<std::uint16_t>(fontName.size()), fontName.data());
        context_ = xcb_generate_id(connection);
        const std::array<std::uint32_t, 4> contextValues{kInks[0], kPaper, font, 0};
        xcb_create_gc(connection, context_, window_,
                      XCB_GC_FOREGROUND | XCB_GC_BACKGROUND | XCB_GC_FONT | XCB_GC_GRAPHICS_EXPOSURES,
                      contextValues.data());
        xcb_map_window(connection, window_);
        for (int y = 0; y < kHeight; y += kLineHeight) writeLine(y);
        waitForServer();
    }

    /// Moves the text up by a step and writes what comes in at the bottom.
    void scroll() {
        xcb_copy_area(connection_, window_, window_, context_, 0, kScrollStep, 0, 0, kWidth,
                      kHeight - kScrollStep);
        sinceLine_ += kScrollStep;
        if (sinceLine_ >= kLineHeight) {
            sinceLine_ = 0;
            xcb_clear_area(connection_, 0, window_, 0, kHeight - kLineHeight, kWidth, kLineHeight);
            writeLine(kHeight - kLineHeight);
        }
        waitForServer();
    }

    [[nodiscard]] bool isAlive() const { return xcb_connection_has_error(connection_) == 0; }

private:
    void writeLine(int top) {
        int x = static_cast<int>(random_() % 8) * 4 * kColumnWidth;
        const int end = x + static_cast<int>(random_() % static_cast<unsigned>(kWidth - x));
        while (x < end) {
            std::array<char, 10> word{};
            const auto length = static_cast<std::uint8_t>(1 + random_() % word.size());
            for (char& letter : word) letter = static_cast<char>('!' + random_() % 90);
            xcb_change_gc(connection_, context_, XCB_GC_FOREGROUND, &kInks.at(random_() % kInks.size()));
            xcb_image_text_8(connection_, length, window_, context_, static_cast<std::int16_t>(x),
                             static_cast<std::int16_t>(top + 12), word.data());
            x += (length + 1) * kColumnWidth;
        }
    }

    void waitForServer() {
        std::free(xcb_get_input_focus_reply(connection_, xcb_get_input_focus(connection_), nullptr));
    }

    xcb_connection_t* connection_;
    xcb_window_t window_ = 0;
    xcb_gcontext_t context_ = 0;
    int sinceLine_ = 0;
    std::mt19937 random_{11};
};

}  // namespace

/// bench_desktop busy|still: shows a desktop with a large window of text, which scrolls in every frame or
/// never. Prints a line when it is there, and stays until the display goes.
int main(int argc, char** argv) {
    const bool isBusy = argc == 2 && std::string_view(argv[1]) == "busy";
    xcb_connection_t* connection = xcb_connect(nullptr, nullptr);
    if (xcb_connection_has_error(connection) != 0) {
        std::cerr << "There is no display.\n";
        return 1;
    }
    TextWindow window(connection);
    std::cout << "ready" << std::endl;
    auto next = Clock::now();
    while (window.isAlive()) {
        if (!isBusy) {
            pause();
            continue;
        }
        next += std::chrono::nanoseconds(1'000'000'000 / kFrameRate);
        std::this_thread::sleep_until(next);
        window.scroll();
    }
    xcb_disconnect(connection);
    return 0;
}
