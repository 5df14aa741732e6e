#pragma once

#include <xcb/xcb.h>

#include <chrono>
#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "foundation/Geometry.h"
#include "platform/PixelRegion.h"
#include "platform/linux/X11Connection.h"

namespace varnelle {

/// Which window is in front, and which lies under the pointer, as window managers tell it (Extended Window
/// Manager Hints 1.5), or as the X server does where there is none. For one thread at a time. Nothing throws:
/// what a display that is lost or silent would have told is absent.
class X11FrontWindows {
public:
    struct Window {
        xcb_window_t id = XCB_NONE;
        /// Below zero for the windows of a program that doesn't tell its process: the same number for all of
        /// one program's.
        std::int64_t processID = 0;
        CGRect frame;           ///< without decoration; global points, origin top left
        CGRect decoratedFrame;  ///< with what the window manager drew, without a shadow of the program's own

        bool operator==(const Window&) const = default;
    };
    struct Pointed {
        Window window;
        CGPoint pointer;  ///< global points
    };

    /// Throws `PlatformError`.
    explicit X11FrontWindows(const std::string& displayName);

    [[nodiscard]] double pixelsPerPoint() const { return pixelsPerPoint_; }
    /// Forgets what was learned for the sample before, and answers until the deadline only.
    void beginSample(std::chrono::steady_clock::time_point deadline);
    [[nodiscard]] std::optional<std::int64_t> frontmostProcess();
    /// The topmost ordinary window of a process that is on the screen.
    [[nodiscard]] std::optional<Window> topmostWindow(std::int64_t processID);
    [[nodiscard]] std::optional<Pointed> windowUnderPointer();

private:
    enum class AtomName {
        activeWindow,
        stackingList,
        windowManager,
        processID,
        frameExtents,
        shadowExtents,
        windowType,
        count
    };
    /// What doesn't change while a window is there.
    struct Traits {
        std::int64_t processID = 0;
        bool tellsProcess = false;
        bool isOrdinary = false;
    };

    [[nodiscard]] xcb_atom_t atom(AtomName name) const { return atoms_[static_cast<std::size_t>(name)]; }
    [[nodiscard]] std::chrono::milliseconds remaining() const;
    [[nodiscard]] xcb_get_property_cookie_t request(xcb_window_t window, AtomName property, xcb_atom_t type);
    [[nodiscard]] std::vector<std::uint32_t> values(xcb_get_property_cookie_t cookie);
    [[nodiscard]] std::vector<std::uint32_t> property(xcb_window_t window, AtomName name, xcb_atom_t type) {
        return values(request(window, name, type));
    }
    [[nodiscard]] bool hasWindowManager();
    [[nodiscard]] std::optional<xcb_window_t> activeWindow();
    /// Top-level windows, the topmost first.
    [[nodiscard]] std::vector<xcb_window_t> stackedWindows();
    const Traits& traits(xcb_window_t window);
    /// Absent if the window isn't on the screen.
    const std::optional<Window>& place(xcb_window_t window);
    [[nodiscard]] std::optional<Window> askPlace(xcb_window_t window);
    [[nodiscard]] CGRect points(const PixelRect& rect) const;
    [[nodiscard]] xcb_window_t clientIn(xcb_window_t topLevel);

    X11Connection connection_;
    double pixelsPerPoint_;
    std::vector<xcb_atom_t> atoms_;
    std::chrono::steady_clock::time_point deadline_;

    // For one sample.
    std::vector<std::uint32_t> active_;
    std::vector<std::uint32_t> stacking_;
    std::optional<CGPoint> pointer_;
    xcb_window_t pointedTopLevel_ = XCB_NONE;
    std::map<xcb_window_t, std::optional<Window>> places_;

    // For some samples.
    std::map<xcb_window_t, Traits> knownWindows_;
    std::map<xcb_window_t, xcb_window_t> knownClients_;  ///< the windows in frames
    std::chrono::steady_clock::time_point knownSince_;
};

}  // namespace varnelle
