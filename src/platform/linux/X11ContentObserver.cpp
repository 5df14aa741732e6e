#include "platform/linux/X11ContentObserver.h"

#include <poll.h>
#include <pthread.h>
#include <sys/eventfd.h>
#include <unistd.h>
#include <xcb/randr.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <chrono>
#include <utility>

#include "foundation/Error.h"
#include "foundation/Log.h"
#include "platform/linux/X11Properties.h"

namespace varnelle {
namespace {

/// Opening a window changes several things one after the other; this long after the last of them they are
/// told.
constexpr std::chrono::milliseconds kQuietTime{50};
/// They are told after this time at the latest, even if it goes on.
constexpr std::chrono::milliseconds kLongestWait{250};

}  // namespace

X11ContentObserver::X11ContentObserver(const std::string& displayName, std::function<void()> onChange)
    : connection_(displayName),
      onChange_(std::move(onChange)),
      wakeUp_(eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK)) {
    if (!wakeUp_.isOpen()) throw FileError("Creating", "a wake-up event", errno);
    const xcb_window_t root = connection_.screen().root;
    const std::uint32_t events =
        XCB_EVENT_MASK_PROPERTY_CHANGE | XCB_EVENT_MASK_STRUCTURE_NOTIFY | XCB_EVENT_MASK_SUBSTRUCTURE_NOTIFY;
    xcb_change_window_attributes(connection_.get(), root, XCB_CW_EVENT_MASK, &events);
    if (connection_.hasExtension(xcb_randr_id)) {
        xcb_randr_select_input(connection_.get(), root,
                               XCB_RANDR_NOTIFY_MASK_SCREEN_CHANGE | XCB_RANDR_NOTIFY_MASK_CRTC_CHANGE |
                                   XCB_RANDR_NOTIFY_MASK_OUTPUT_CHANGE);
    }
    watchTitles();
    xcb_flush(connection_.get());
    thread_ = std::thread([this] { run(); });
}

X11ContentObserver::~X11ContentObserver() {
    const std::uint64_t one = 1;
    [[maybe_unused]] const ssize_t written = write(wakeUp_.get(), &one, sizeof one);
    thread_.join();
}

void X11ContentObserver::run() {
    pthread_setname_np(pthread_self(), "content-watch");
    using Clock = std::chrono::steady_clock;
    Clock::time_point firstChange;
    bool isPending = false;
    try {
        while (true) {
            const bool isQuiet = !takeInEvents();
            if (!isQuiet && !isPending) {
                isPending = true;
                firstChange = Clock::now();
            }
            if (isPending && (isQuiet || Clock::now() - firstChange > kLongestWait)) {
                isPending = false;
                watchTitles();
                onChange_();
                continue;  // events may have been taken from the socket while waiting for answers
            }
            std::array<pollfd, 2> watched{pollfd{wakeUp_.get(), POLLIN, 0},
                                          pollfd{connection_.fileDescriptor(), POLLIN, 0}};
            poll(watched.data(), watched.size(), isPending ? static_cast<int>(kQuietTime.count()) : -1);
            if (watched[0].revents != 0) return;
        }
    } catch (const PlatformError& error) {
        logger(LogCategory::capture).warn("Displays and windows aren't watched any more: {}", error.what());
    }
}

bool X11ContentObserver::takeInEvents() {
    bool hasChanged = false;
    while (const XReply<xcb_generic_event_t> event{xcb_poll_for_event(connection_.get())}) {
        hasChanged = isChange(*event) || hasChanged;
    }
    if (connection_.isLost()) throw connection_.lostError();
    return hasChanged;
}

bool X11ContentObserver::isChange(const xcb_generic_event_t& event) {
    const int type = event.response_type & 0x7f;
    const xcb_query_extension_reply_t* randr = xcb_get_extension_data(connection_.get(), &xcb_randr_id);
    if (randr != nullptr && randr->present != 0 &&
        (type == randr->first_event + XCB_RANDR_SCREEN_CHANGE_NOTIFY ||
         type == randr->first_event + XCB_RANDR_NOTIFY)) {
        return true;
    }
    if (type == XCB_CONFIGURE_NOTIFY || type == XCB_MAP_NOTIFY || type == XCB_UNMAP_NOTIFY ||
        type == XCB_DESTROY_NOTIFY)
        return true;
    if (type != XCB_PROPERTY_NOTIFY) return false;
    const xcb_atom_t changed = reinterpret_cast<const xcb_property_notify_event_t&>(event).atom;
    const std::array names{"_NET_CLIENT_LIST", "_NET_CLIENT_LIST_STACKING", "_NET_WM_NAME", "WM_NAME",
                           "RESOURCE_MANAGER"};
    return std::any_of(names.begin(), names.end(),
                       [&](const char* name) { return connection_.atom(name) == changed; });
}

void X11ContentObserver::watchTitles() {
    const std::vector<xcb_window_t> windows = managedWindows(connection_);
    std::set<xcb_window_t> present(windows.begin(), windows.end());
    for (const xcb_window_t window : present) {
        if (watchedWindows_.count(window) > 0) continue;
        const std::uint32_t events = XCB_EVENT_MASK_PROPERTY_CHANGE;
        xcb_change_window_attributes(connection_.get(), window, XCB_CW_EVENT_MASK, &events);
    }
    watchedWindows_ = std::move(present);
    xcb_flush(connection_.get());
}

}  // namespace varnelle
