#pragma once

#include <xcb/render.h>

#include <cstdint>
#include <map>
#include <memory>
#include <vector>

#include "media/VideoFrame.h"
#include "platform/PixelRegion.h"
#include "platform/linux/CaptureFramePool.h"
#include "platform/linux/X11Connection.h"
#include "platform/linux/X11Damage.h"
#include "platform/linux/X11ImageSource.h"

namespace varnelle {

/// Puts together what would be seen of an area of the screen if the windows of some programs weren't there.
///
/// The server keeps the pixels of every window apart as long as this object lives (Composite's redirection),
/// so that those of covered windows can be had. Where one of the excluded windows lies, the windows beneath
/// are put on top of each other in a picture of the server's, which is read in place of the screen. Beneath
/// the lowest window is the pixmap that desktops leave for this on the root window, or black where there is
/// none. Shadows and other effects of a compositing window manager are missing there.
class X11ExcludedWindows {
public:
    /// `area` on the root window. Null, with a line in the log, where the server can't keep windows apart.
    /// The connection's events on the root window are selected anew. Throws `PlatformError`.
    static std::unique_ptr<X11ExcludedWindows> make(X11Connection& connection, const PixelRect& area,
                                                    const std::vector<std::int64_t>& processIDs);
    ~X11ExcludedWindows();
    X11ExcludedWindows(const X11ExcludedWindows&) = delete;
    X11ExcludedWindows& operator=(const X11ExcludedWindows&) = delete;

    void noteEvent(const xcb_generic_event_t& event);
    /// Whether windows have come, gone or moved since they were last looked at.
    [[nodiscard]] bool isOutdated() const { return isOutdated_; }
    [[nodiscard]] bool hasChanges() const { return isOutdated_ || hasDamage_; }

    /// Where excluded windows lie now, relative to the area. Throws `PlatformError`.
    [[nodiscard]] const PixelRegion& region();
    /// What may have changed there since the last call. Throws `PlatformError`.
    [[nodiscard]] PixelRegion takeChanges();
    /// Brings the buffer up to date where `changes` and the region overlap; returns whether a pixel differs
    /// from `previous`. Throws `PlatformError`.
    [[nodiscard]] bool fetch(CaptureBuffer& buffer, const PixelRegion& changes, const VideoFrame& previous);

private:
    struct Window {
        xcb_window_t id = 0;
        PixelRect bounds;  ///< on the root, with its border
        int borderWidth = 0;
        xcb_visualid_t visual = 0;
    };
    struct Format {
        xcb_render_pictformat_t id = 0;
        bool hasAlpha = false;
    };
    /// Pixels on the server, and the server's view of them.
    struct Picture {
        xcb_pixmap_t pixmap = 0;
        xcb_render_picture_t picture = 0;
    };

    X11ExcludedWindows(X11Connection& connection, const PixelRect& area,
                       const std::vector<std::int64_t>& processIDs);
    void readFormats();
    void lookAtWindows();
    [[nodiscard]] std::int64_t processOf(xcb_window_t window);
    void watchWindowsBeneath();
    void readBackground();
    void compose(const PixelRect& rect);
    void composeWindow(const Window& window, const PixelRect& rect);
    void forgetPictures();
    void release(const Picture& picture);

    X11Connection& connection_;
    const PixelRect area_;
    const std::vector<std::int64_t> processIDs_;
    std::map<xcb_visualid_t, Format> formats_;
    Picture composed_;  ///< of the area's size
    xcb_render_picture_t backgroundPicture_ =
        0;  ///< what the desktop has put on the root window; 0 for nothing
    xcb_xfixes_region_t shape_ = 0;
    std::unique_ptr<X11ImageSource> source_;  ///< reads `composed_`
    std::vector<Window> windowsBeneath_;      ///< visible and not excluded, from the lowest
    std::map<xcb_window_t, Picture> pictures_;
    std::map<xcb_window_t, std::int64_t> knownProcesses_;
    std::map<xcb_window_t, std::unique_ptr<X11Damage>> damages_;
    PixelRegion region_;
    bool isOutdated_ = true;
    bool hasDamage_ = false;
};

}  // namespace varnelle
