#include <xcb/xcb.h>
#include <xcb/xtest.h>

#include <chrono>
#include <cmath>
#include <iostream>
#include <memory>
#include <sstream>
#include <thread>

#include "CommandLine.h"
#include "foundation/Error.h"

namespace {

using namespace varnelle;

constexpr const char* kHelp = R"(scripted_pointer < SCRIPT

Moves the pointer of the display named by $DISPLAY as a hand would, by the lines of a script:

  rest SECONDS            stay
  move X Y SECONDS        go to a point of the screen, starting and stopping softly, on a slightly bent way
  press BUTTON            1 is the left button, 3 the right one
  release BUTTON
  click BUTTON            press, hold for a moment, release
  # ...                   a remark
)";

constexpr auto kStep = std::chrono::microseconds(8333);

class Pointer {
public:
    Pointer() : connection_(xcb_connect(nullptr, nullptr), xcb_disconnect) {
        if (xcb_connection_has_error(connection_.get()) != 0)
            throw Error("The display in $DISPLAY can't be reached.");
        const auto* setup = xcb_get_setup(connection_.get());
        root_ = xcb_setup_roots_iterator(setup).data->root;
        const std::unique_ptr<xcb_query_pointer_reply_t, decltype(&free)> reply(
            xcb_query_pointer_reply(connection_.get(), xcb_query_pointer(connection_.get(), root_), nullptr),
            free);
        if (reply) {
            x_ = reply->root_x;
            y_ = reply->root_y;
        }
    }

    void rest(double seconds) { std::this_thread::sleep_for(std::chrono::duration<double>(seconds)); }

    void move(double x, double y, double seconds) {
        const double startX = x_;
        const double startY = y_;
        constexpr double bend = 0.06;  // of the distance, sideways at the middle
        const auto start = std::chrono::steady_clock::now();
        for (double share = 0; share < 1;) {
            std::this_thread::sleep_for(kStep);
            const std::chrono::duration<double> passed = std::chrono::steady_clock::now() - start;
            share = seconds > 0 ? std::min(passed.count() / seconds, 1.0) : 1;
            const double eased = share * share * share * (share * (6 * share - 15) + 10);
            const double aside = bend * 4 * eased * (1 - eased);
            x_ = startX + eased * (x - startX) - aside * (y - startY);
            y_ = startY + eased * (y - startY) + aside * (x - startX);
            send(XCB_MOTION_NOTIFY, 0);
        }
    }

    void press(int button) { send(XCB_BUTTON_PRESS, button); }
    void release(int button) { send(XCB_BUTTON_RELEASE, button); }

private:
    void send(std::uint8_t type, int detail) {
        xcb_test_fake_input(connection_.get(), type, static_cast<std::uint8_t>(detail), XCB_CURRENT_TIME,
                            root_, static_cast<std::int16_t>(std::lround(x_)),
                            static_cast<std::int16_t>(std::lround(y_)), 0);
        xcb_flush(connection_.get());
    }

    std::unique_ptr<xcb_connection_t, decltype(&xcb_disconnect)> connection_;
    xcb_window_t root_ = 0;
    double x_ = 0;
    double y_ = 0;
};

void perform(Pointer& pointer, const std::string& line) {
    std::istringstream words(line);
    std::string verb;
    words >> verb;
    if (verb.empty() || verb.starts_with("#")) return;
    double a = 0;
    double b = 0;
    double c = 0;
    words >> a;
    if (verb == "move") words >> b >> c;
    if (words.fail()) throw Error("The line “" + line + "” lacks a number.");
    if (verb == "rest") {
        pointer.rest(a);
    } else if (verb == "move") {
        pointer.move(a, b, c);
    } else if (verb == "press") {
        pointer.press(static_cast<int>(a));
    } else if (verb == "release") {
        pointer.release(static_cast<int>(a));
    } else if (verb == "click") {
        pointer.press(static_cast<int>(a));
        pointer.rest(0.09);
        pointer.release(static_cast<int>(a));
    } else {
        throw Error("“" + verb + "” is nothing that a pointer does.");
    }
}

int runScript(const CommandLine&) {
    Pointer pointer;
    for (std::string line; std::getline(std::cin, line);) perform(pointer, line);
    return 0;
}

}  // namespace

int main(int argc, char** argv) {
    return varnelle::runTool(argc, argv, kHelp, 0, runScript);
}
