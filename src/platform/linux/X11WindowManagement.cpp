#include "platform/linux/X11WindowManagement.h"

#include <poll.h>
#include <pthread.h>
#include <sys/eventfd.h>
#include <sys/socket.h>
#include <unistd.h>
#include <xcb/xfixes.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <utility>

#include "foundation/Error.h"
#include "foundation/Log.h"
#include "platform/linux/X11PanelHints.h"
#include "platform/linux/X11Properties.h"

namespace varnelle {
namespace {

constexpr std::chrono::milliseconds kPatience{100};
/// Window managers tell a new order soon; one that doesn't has ignored the wish.
constexpr std::chrono::milliseconds kTimeToRestack{150};
constexpr int kMostAttempts = 4;

}  // namespace

X11WindowManagement::X11WindowManagement(const std::string& displayName)
    : connection_(displayName),
      descriptor_(connection_.fileDescriptor()),
      wakeUp_(eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK)) {
    if (!wakeUp_.isOpen()) throw FileError("Creating", "a wake-up event", errno);
    const std::uint32_t events = XCB_EVENT_MASK_PROPERTY_CHANGE | XCB_EVENT_MASK_SUBSTRUCTURE_NOTIFY;
    xcb_change_window_attributes(connection_.get(), connection_.screen().root, XCB_CW_EVENT_MASK, &events);
    watchCompositing();
    xcb_flush(connection_.get());
    thread_ = std::thread([this] { run(); });
}

X11WindowManagement::~X11WindowManagement() {
    isEnding_ = true;
    // Ends every wait for the server at once.
    shutdown(descriptor_, SHUT_RDWR);
    thread_.join();
}

void X11WindowManagement::applyPanelBehaviour(std::uint64_t window, const PanelBehaviour& behaviour) {
    perform([this, window = static_cast<xcb_window_t>(window), behaviour] { adopt(window, behaviour); });
}

void X11WindowManagement::orderBelow(std::uint64_t window, std::uint64_t sibling) {
    const OrderWish wish{static_cast<xcb_window_t>(window), static_cast<xcb_window_t>(sibling)};
    post([this, wish] {
        restackBelow(connection_, wish.window, wish.sibling);
        orderWish_ = wish;
        lookAgainAt_ = Clock::now() + kTimeToRestack;
    });
}

/// Compositing managers own a selection by which they are known (EWMH, "Compositing Managers").
void X11WindowManagement::watchCompositing() {
    xcb_connection_t* x = connection_.get();
    const xcb_atom_t selection = connection_.atom("_NET_WM_CM_S0");
    if (connection_.hasExtension(xcb_xfixes_id)) {
        // The extension answers nothing else before the version has been agreed on.
        connection_.reply<xcb_xfixes_query_version_reply_t>(xcb_xfixes_query_version(x, 2, 0),
                                                            "XFixesQueryVersion");
        constexpr std::uint32_t events = XCB_XFIXES_SELECTION_EVENT_MASK_SET_SELECTION_OWNER |
                                         XCB_XFIXES_SELECTION_EVENT_MASK_SELECTION_WINDOW_DESTROY |
                                         XCB_XFIXES_SELECTION_EVENT_MASK_SELECTION_CLIENT_CLOSE;
        xcb_xfixes_select_selection_input(x, connection_.screen().root, selection, events);
        compositingEvent_ =
            xcb_get_extension_data(x, &xcb_xfixes_id)->first_event + XCB_XFIXES_SELECTION_NOTIFY;
    }
    const auto owner = connection_.reply<xcb_get_selection_owner_reply_t>(
        xcb_get_selection_owner(x, selection), "GetSelectionOwner");
    isCompositing_ = owner->owner != XCB_WINDOW_NONE;
}

std::uint64_t X11WindowManagement::post(std::function<void()> action) {
    const std::lock_guard lock(mutex_);
    if (hasEnded_) return requestedCount_;
    actions_.push_back(std::move(action));
    const std::uint64_t one = 1;
    [[maybe_unused]] const ssize_t written = write(wakeUp_.get(), &one, sizeof one);
    return ++requestedCount_;
}

void X11WindowManagement::perform(std::function<void()> action) {
    const std::uint64_t number = post(std::move(action));
    std::unique_lock lock(mutex_);
    performed_.wait_for(lock, kPatience, [&] { return hasEnded_ || performedCount_ >= number; });
}

void X11WindowManagement::run() {
    pthread_setname_np(pthread_self(), "panels");
    try {
        while (!connection_.isLost()) {
            takeActions();
            // Waiting for an answer takes events from the socket, so none may be left before sleeping.
            if (takeEvents()) continue;
            if (lookAgainAt_ && Clock::now() >= *lookAgainAt_) {
                keepOrder();
                continue;
            }
            xcb_flush(connection_.get());
            wait();
        }
    } catch (const PlatformError& error) {
        if (!isEnding_) logger(LogCategory::app).info("Panels aren't watched any more: {}", error.what());
    }
    const std::lock_guard lock(mutex_);
    hasEnded_ = true;
    actions_.clear();
    performed_.notify_all();
}

void X11WindowManagement::wait() const {
    std::array<pollfd, 2> watched{pollfd{wakeUp_.get(), POLLIN, 0}, pollfd{descriptor_, POLLIN, 0}};
    int timeoutMilliseconds = -1;
    if (lookAgainAt_) {
        const auto rest = std::chrono::ceil<std::chrono::milliseconds>(*lookAgainAt_ - Clock::now());
        timeoutMilliseconds = std::max(0, static_cast<int>(rest.count()));
    }
    poll(watched.data(), watched.size(), timeoutMilliseconds);
}

void X11WindowManagement::takeActions() {
    std::uint64_t count = 0;
    [[maybe_unused]] const ssize_t size = read(wakeUp_.get(), &count, sizeof count);
    while (true) {
        std::function<void()> action;
        {
            const std::lock_guard lock(mutex_);
            if (actions_.empty()) return;
            action = std::move(actions_.front());
            actions_.pop_front();
        }
        action();
        // The server has carried out everything that comes before this answer.
        connection_.reply<xcb_get_input_focus_reply_t>(xcb_get_input_focus(connection_.get()),
                                                       "GetInputFocus");
        const std::lock_guard lock(mutex_);
        ++performedCount_;
        performed_.notify_all();
    }
}

bool X11WindowManagement::takeEvents() {
    bool hasTaken = false;
    bool mayHaveNewOrder = false;
    const xcb_window_t root = connection_.screen().root;
    while (const XReply<xcb_generic_event_t> event{xcb_poll_for_event(connection_.get())}) {
        hasTaken = true;
        const int type = event->response_type & 0x7F;
        if (type == compositingEvent_)
            isCompositing_ =
                reinterpret_cast<const xcb_xfixes_selection_notify_event_t&>(*event).owner != XCB_WINDOW_NONE;
        switch (type) {
            case XCB_MAP_NOTIFY:
                tellAgain(reinterpret_cast<const xcb_map_notify_event_t&>(*event).window);
                mayHaveNewOrder = true;
                break;
            case XCB_DESTROY_NOTIFY:
                panels_.erase(reinterpret_cast<const xcb_destroy_notify_event_t&>(*event).window);
                break;
            case XCB_CONFIGURE_NOTIFY:
                mayHaveNewOrder = true;
                break;
            case XCB_PROPERTY_NOTIFY: {
                const auto& change = reinterpret_cast<const xcb_property_notify_event_t&>(*event);
                if (change.window == root && change.atom == connection_.atom("_NET_CLIENT_LIST_STACKING"))
                    mayHaveNewOrder = true;
                // The last that a window manager removes when the window is hidden.
                if (change.window != root && change.atom == connection_.atom("WM_STATE"))
                    tellAgain(change.window);
                break;
            }
            default:
                break;
        }
    }
    if (mayHaveNewOrder) keepOrder();
    return hasTaken;
}

void X11WindowManagement::tellAgain(xcb_window_t window) {
    const auto panel = panels_.find(window);
    if (panel != panels_.end()) tellPanelBehaviour(connection_, panel->first, panel->second);
}

void X11WindowManagement::adopt(xcb_window_t window, const PanelBehaviour& behaviour) {
    panels_[window] = behaviour;
    const std::uint32_t events = XCB_EVENT_MASK_STRUCTURE_NOTIFY | XCB_EVENT_MASK_PROPERTY_CHANGE;
    xcb_change_window_attributes(connection_.get(), window, XCB_CW_EVENT_MASK, &events);
    tellPanelBehaviour(connection_, window, behaviour);
    attempts_ = 0;
    keepOrder();
}

void X11WindowManagement::keepOrder() {
    const bool isLate = lookAgainAt_ && Clock::now() >= *lookAgainAt_;
    if (isLate) lookAgainAt_ = std::nullopt;
    if (panels_.size() < 2 && !orderWish_) return;
    const std::vector<xcb_window_t> stack = managedWindows(connection_);
    if (orderWish_ && isLate) {
        insistOnOrder(stack, *orderWish_);
        orderWish_ = std::nullopt;
    }

    std::vector<xcb_window_t> shown;
    for (const xcb_window_t window : stack) {
        if (panels_.count(window) > 0) shown.push_back(window);
    }
    const auto isLower = [this](xcb_window_t one, xcb_window_t other) {
        return panels_.at(one).level < panels_.at(other).level;
    };
    if (std::is_sorted(shown.begin(), shown.end(), isLower)) {
        attempts_ = 0;
        if (!orderWish_) lookAgainAt_ = std::nullopt;
        return;
    }
    // While one attempt is on its way, what is told is the order in between.
    if (lookAgainAt_ || attempts_ >= kMostAttempts) return;
    std::stable_sort(shown.begin(), shown.end(), isLower);
    if (attempts_ % 2 == 0) {
        for (std::size_t i = shown.size() - 1; i > 0; --i) {
            restackBelow(connection_, shown[i - 1], shown[i]);
        }
    } else {
        for (const xcb_window_t window : shown) restackOnTop(connection_, window);
    }
    ++attempts_;
    lookAgainAt_ = Clock::now() + kTimeToRestack;
}

/// Some window managers lower a window to the bottom when it is to go below another one. All of them raise.
void X11WindowManagement::insistOnOrder(const std::vector<xcb_window_t>& stack, const OrderWish& wish) {
    const auto window = std::find(stack.begin(), stack.end(), wish.window);
    const auto sibling = std::find(stack.begin(), stack.end(), wish.sibling);
    if (window == stack.end() || sibling == stack.end() || window + 1 == sibling) return;
    restackOnTop(connection_, wish.window);
    restackOnTop(connection_, wish.sibling);
    // What else of the program lay above the sibling lies there again.
    const std::uint32_t programBits = ~xcb_get_setup(connection_.get())->resource_id_mask;
    for (auto above = sibling + 1; above < stack.end(); ++above) {
        const bool isOwn = ((*above ^ wish.sibling) & programBits) == 0;
        if (isOwn && *above != wish.window) restackOnTop(connection_, *above);
    }
}

}  // namespace varnelle
