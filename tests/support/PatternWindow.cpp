#include "support/PatternWindow.h"

#include <xcb/xcb.h>
#include <xcb/xtest.h>

#include <array>
#include <cstdlib>
#include <stdexcept>

namespace varnelle::test {
namespace {

xcb_connection_t* connect(const std::string& displayName) {
    xcb_connection_t* connection = xcb_connect(displayName.c_str(), nullptr);
    if (xcb_connection_has_error(connection) == 0) return connection;
    xcb_disconnect(connection);
    throw std::runtime_error("no connection to the X display " + displayName);
}

xcb_screen_t* screenOf(xcb_connection_t* connection) {
    return xcb_setup_roots_iterator(xcb_get_setup(connection)).data;
}

xcb_atom_t atomOf(xcb_connection_t* connection, const std::string& name) {
    const std::unique_ptr<xcb_intern_atom_reply_t, void (*)(void*)> reply(
        xcb_intern_atom_reply(
            connection, xcb_intern_atom(connection, 0, static_cast<std::uint16_t>(name.size()), name.c_str()),
            nullptr),
        std::free);
    return reply->atom;
}

/// Returns when the server has carried out all that was sent before.
void waitForServer(xcb_connection_t* connection) {
    std::free(xcb_get_input_focus_reply(connection, xcb_get_input_focus(connection), nullptr));
}

}  // namespace

void PatternWindow::Disconnect::operator()(xcb_connection_t* connection) const {
    xcb_disconnect(connection);
}

PatternWindow::PatternWindow(const std::string& displayName, int x, int y, int widthPixels, int heightPixels,
                             const WindowProperties& properties)
    : connection_(connect(displayName)), width_(widthPixels), height_(heightPixels) {
    xcb_connection_t* const connection = connection_.get();
    const xcb_screen_t* screen = screenOf(connection);
    window_ = xcb_generate_id(connection);
    const std::uint32_t overridesManager = properties.isManaged ? 0 : 1;
    const std::array<std::uint32_t, 2> values{screen->black_pixel, overridesManager};
    xcb_create_window(
        connection, XCB_COPY_FROM_PARENT, window_, screen->root, static_cast<std::int16_t>(x),
        static_cast<std::int16_t>(y), static_cast<std::uint16_t>(width_), static_cast<std::uint16_t>(height_),
        0, XCB_WINDOW_CLASS_INPUT_OUTPUT, screen->root_visual,
        properties.hasBackground ? XCB_CW_BACK_PIXEL | XCB_CW_OVERRIDE_REDIRECT : XCB_CW_OVERRIDE_REDIRECT,
        properties.hasBackground ? values.data() : &overridesManager);
    context_ = xcb_generate_id(connection);
    xcb_create_gc(connection, context_, window_, 0, nullptr);
    if (!properties.title.empty()) setTitle(properties.title);
    if (!properties.windowClass.empty()) {
        using namespace std::string_literals;
        setText("WM_CLASS", "pattern\0"s + properties.windowClass + "\0"s);
    }
    if (properties.processID != 0) {
        xcb_change_property(connection, XCB_PROP_MODE_REPLACE, window_, atomOf(connection, "_NET_WM_PID"),
                            XCB_ATOM_CARDINAL, 32, 1, &properties.processID);
    }
    if (properties.isShown)
        show();
    else
        sync();
}

PatternWindow::~PatternWindow() = default;

void PatternWindow::moveTo(int x, int y) {
    const std::array<std::int32_t, 2> values{x, y};
    xcb_configure_window(connection_.get(), window_, XCB_CONFIG_WINDOW_X | XCB_CONFIG_WINDOW_Y,
                         values.data());
    sync();
}

void PatternWindow::resize(int widthPixels, int heightPixels) {
    width_ = widthPixels;
    height_ = heightPixels;
    const std::array<std::int32_t, 2> values{widthPixels, heightPixels};
    xcb_configure_window(connection_.get(), window_, XCB_CONFIG_WINDOW_WIDTH | XCB_CONFIG_WINDOW_HEIGHT,
                         values.data());
    sync();
}

void PatternWindow::show() {
    xcb_map_window(connection_.get(), window_);
    sync();
}

void PatternWindow::hide() {
    xcb_unmap_window(connection_.get(), window_);
    sync();
}

void PatternWindow::close() {
    xcb_destroy_window(connection_.get(), window_);
    sync();
}

void PatternWindow::moveInto(const PatternWindow& frame, int x, int y) {
    xcb_reparent_window(connection_.get(), window_, frame.window_, static_cast<std::int16_t>(x),
                        static_cast<std::int16_t>(y));
    sync();
}

void PatternWindow::moveOut(int x, int y) {
    xcb_reparent_window(connection_.get(), window_, screenOf(connection_.get())->root,
                        static_cast<std::int16_t>(x), static_cast<std::int16_t>(y));
    sync();
}

void PatternWindow::setTitle(const std::string& title) {
    setText("_NET_WM_NAME", title);
}

void PatternWindow::setText(const char* property, const std::string& text) {
    xcb_connection_t* const connection = connection_.get();
    xcb_change_property(connection, XCB_PROP_MODE_REPLACE, window_, atomOf(connection, property),
                        atomOf(connection, "UTF8_STRING"), 8, static_cast<std::uint32_t>(text.size()),
                        text.data());
    sync();
}

void PatternWindow::fill(int x, int y, int widthPixels, int heightPixels, std::uint32_t color) {
    xcb_change_gc(connection_.get(), context_, XCB_GC_FOREGROUND, &color);
    const xcb_rectangle_t rect{static_cast<std::int16_t>(x), static_cast<std::int16_t>(y),
                               static_cast<std::uint16_t>(widthPixels),
                               static_cast<std::uint16_t>(heightPixels)};
    xcb_poly_fill_rectangle(connection_.get(), window_, context_, 1, &rect);
    sync();
}

void PatternWindow::fillCells(int cellPixels, std::uint32_t phase) {
    for (int y = 0; y < height_; y += cellPixels) {
        for (int x = 0; x < width_; x += cellPixels) {
            const std::uint32_t color = cellColor(x, y, cellPixels, phase);
            xcb_change_gc(connection_.get(), context_, XCB_GC_FOREGROUND, &color);
            const xcb_rectangle_t rect{static_cast<std::int16_t>(x), static_cast<std::int16_t>(y),
                                       static_cast<std::uint16_t>(cellPixels),
                                       static_cast<std::uint16_t>(cellPixels)};
            xcb_poly_fill_rectangle(connection_.get(), window_, context_, 1, &rect);
        }
    }
    sync();
}

std::uint32_t PatternWindow::cellColor(int x, int y, int cellPixels, std::uint32_t phase) {
    const auto column = static_cast<std::uint32_t>(x / cellPixels);
    const auto row = static_cast<std::uint32_t>(y / cellPixels);
    const std::uint32_t red = (column * 37 + phase * 11) & 0xff;
    const std::uint32_t green = (row * 53 + phase * 29) & 0xff;
    const std::uint32_t blue = ((column ^ row) * 71 + phase * 3) & 0xff;
    return red << 16 | green << 8 | blue;
}

void PatternWindow::sync() {
    waitForServer(connection_.get());
}

void PointerRobot::Disconnect::operator()(xcb_connection_t* connection) const {
    xcb_disconnect(connection);
}

PointerRobot::PointerRobot(const std::string& displayName) : connection_(connect(displayName)) {}

PointerRobot::~PointerRobot() = default;

void PointerRobot::moveTo(int x, int y) {
    send(XCB_MOTION_NOTIFY, 0, x, y);
}

void PointerRobot::setButton(int button, bool isPressed) {
    send(isPressed ? XCB_BUTTON_PRESS : XCB_BUTTON_RELEASE, static_cast<std::uint8_t>(button), 0, 0);
}

void PointerRobot::send(std::uint8_t type, std::uint8_t detail, int x, int y) {
    xcb_test_fake_input(connection_.get(), type, detail, XCB_CURRENT_TIME, screenOf(connection_.get())->root,
                        static_cast<std::int16_t>(x), static_cast<std::int16_t>(y), 0);
    waitForServer(connection_.get());
}

}  // namespace varnelle::test
