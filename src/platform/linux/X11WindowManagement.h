#pragma once

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <deque>
#include <functional>
#include <map>
#include <mutex>
#include <optional>
#include <string>
#include <thread>
#include <vector>

#include "foundation/Descriptor.h"
#include "platform/WindowManagement.h"
#include "platform/linux/X11Connection.h"

namespace varnelle {

/// Keeps panels what they are: toolkits write a window's properties anew when they show it, window managers
/// remove them when it is hidden, and a click may raise a panel above one of a higher level. A thread with a
/// connection of its own watches for that.
class X11WindowManagement final : public WindowManagement {
public:
    /// Throws `PlatformError`.
    explicit X11WindowManagement(const std::string& displayName);
    ~X11WindowManagement() override;
    X11WindowManagement(const X11WindowManagement&) = delete;
    X11WindowManagement& operator=(const X11WindowManagement&) = delete;

    void applyPanelBehaviour(std::uint64_t window, const PanelBehaviour& behaviour) override;
    void orderBelow(std::uint64_t window, std::uint64_t sibling) override;
    [[nodiscard]] bool isCompositing() override { return isCompositing_; }

private:
    using Clock = std::chrono::steady_clock;
    struct OrderWish {
        xcb_window_t window;
        xcb_window_t sibling;
    };

    /// Has the thread carry something out; returns the action's number.
    std::uint64_t post(std::function<void()> action);
    /// The same, and waits for it for a while.
    void perform(std::function<void()> action);
    void watchCompositing();
    void run();
    void wait() const;
    void takeActions();
    /// Returns whether there was any.
    bool takeEvents();
    void tellAgain(xcb_window_t window);
    void adopt(xcb_window_t window, const PanelBehaviour& behaviour);
    void keepOrder();
    void insistOnOrder(const std::vector<xcb_window_t>& stack, const OrderWish& wish);

    // The thread's own.
    X11Connection connection_;
    std::map<xcb_window_t, PanelBehaviour> panels_;
    std::optional<OrderWish> orderWish_;
    int attempts_ = 0;  ///< to bring the panels into their order
    std::optional<Clock::time_point> lookAgainAt_;

    int compositingEvent_ = -1;  ///< the event that tells of another compositing manager, or of none
    std::atomic<bool> isCompositing_{false};
    std::atomic<bool> isEnding_{false};
    const int descriptor_;
    Descriptor wakeUp_;
    std::mutex mutex_;
    std::condition_variable performed_;
    std::deque<std::function<void()>> actions_;  // guarded by mutex_
    std::uint64_t requestedCount_ = 0;           // guarded by mutex_
    std::uint64_t performedCount_ = 0;           // guarded by mutex_
    bool hasEnded_ = false;                      // guarded by mutex_
    std::thread thread_;
};

}  // namespace varnelle
