#pragma once

#include <functional>
#include <set>
#include <string>
#include <thread>

#include "foundation/Descriptor.h"
#include "platform/DesktopPlatform.h"
#include "platform/linux/X11Connection.h"

namespace varnelle {

/// Watches the screens and the list of windows with their titles and places, on a thread of its own.
class X11ContentObserver final : public ContentObservation {
public:
    /// Throws `PlatformError`.
    X11ContentObserver(const std::string& displayName, std::function<void()> onChange);
    ~X11ContentObserver() override;
    X11ContentObserver(const X11ContentObserver&) = delete;
    X11ContentObserver& operator=(const X11ContentObserver&) = delete;

private:
    void run();
    /// Takes in what the server has said; returns whether displays or windows may have changed.
    [[nodiscard]] bool takeInEvents();
    [[nodiscard]] bool isChange(const xcb_generic_event_t& event);
    /// Asks to hear of the titles of windows that are new in the list.
    void watchTitles();

    X11Connection connection_;
    std::function<void()> onChange_;
    std::set<xcb_window_t> watchedWindows_;
    Descriptor wakeUp_;
    std::thread thread_;
};

}  // namespace varnelle
