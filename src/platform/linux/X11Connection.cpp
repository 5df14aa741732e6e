#include "platform/linux/X11Connection.h"

#include <poll.h>
#include <xcb/xcbext.h>

#include <fmt/format.h>

namespace varnelle {
namespace {

std::string nameOrDefault(const std::string& displayName) {
    if (!displayName.empty()) return displayName;
    const char* fromEnvironment = std::getenv("DISPLAY");
    return fromEnvironment != nullptr ? fromEnvironment : "";
}

PlatformError unavailable(const std::string& displayName) {
    if (displayName.empty()) {
        return {PlatformError::Code::displayUnavailable,
                "There is no X display to connect to: the environment variable DISPLAY is not set."};
    }
    return {PlatformError::Code::displayUnavailable,
            fmt::format("The X display “{}” can't be reached.", displayName)};
}

}  // namespace

X11Connection::X11Connection(const std::string& displayName) : displayName_(nameOrDefault(displayName)) {
    if (displayName_.empty()) throw unavailable(displayName_);
    int screenNumber = 0;
    connection_.reset(xcb_connect(displayName_.c_str(), &screenNumber));
    if (isLost()) throw unavailable(displayName_);
    xcb_screen_iterator_t screens = xcb_setup_roots_iterator(xcb_get_setup(get()));
    for (; screens.rem > 0 && screenNumber > 0; --screenNumber) xcb_screen_next(&screens);
    if (screens.rem == 0) throw unavailable(displayName_);
    screen_ = screens.data;
}

PlatformError X11Connection::lostError() const {
    return {PlatformError::Code::displayLost,
            fmt::format("The connection to the X display “{}” was lost.", displayName_)};
}

xcb_atom_t X11Connection::atom(const std::string& name) {
    const auto known = atoms_.find(name);
    if (known != atoms_.end()) return known->second;
    const auto answer = reply<xcb_intern_atom_reply_t>(
        xcb_intern_atom(get(), 0, static_cast<std::uint16_t>(name.size()), name.c_str()), "InternAtom");
    return atoms_[name] = answer->atom;
}

void X11Connection::check(xcb_void_cookie_t checkedCookie, const char* request) {
    // An error, if there is one, arrives before the answer to a request sent later.
    const auto fence = xcb_get_input_focus(get());
    reply<xcb_get_input_focus_reply_t>(fence, "GetInputFocus");
    const XReply<xcb_generic_error_t> error(xcb_request_check(get(), checkedCookie));
    if (error == nullptr) return;
    throw PlatformError(PlatformError::Code::requestFailed,
                        fmt::format("The X display “{}” refused the request {} (error {}).", displayName_,
                                    request, error->error_code));
}

bool X11Connection::hasExtension(xcb_extension_t& extension) {
    const xcb_query_extension_reply_t* data = xcb_get_extension_data(get(), &extension);
    return data != nullptr && data->present != 0;
}

void* X11Connection::waitForReply(unsigned int sequence, const char* request,
                                  std::chrono::milliseconds timeout) {
    xcb_flush(get());
    const auto deadline = std::chrono::steady_clock::now() + timeout;
    while (true) {
        void* answer = nullptr;
        xcb_generic_error_t* rawError = nullptr;
        if (xcb_poll_for_reply(get(), sequence, &answer, &rawError) != 0) {
            const XReply<xcb_generic_error_t> error(rawError);
            if (answer != nullptr) return answer;
            if (error == nullptr) throw lostError();
            throw PlatformError(PlatformError::Code::requestFailed,
                                fmt::format("The X display “{}” refused the request {} (error {}).",
                                            displayName_, request, error->error_code));
        }
        if (isLost()) throw lostError();
        const auto remaining =
            std::chrono::ceil<std::chrono::milliseconds>(deadline - std::chrono::steady_clock::now());
        if (remaining.count() <= 0) {
            xcb_discard_reply(get(), sequence);
            throw PlatformError(PlatformError::Code::displayLost,
                                fmt::format("The X display “{}” doesn't answer any more.", displayName_));
        }
        pollfd readable{fileDescriptor(), POLLIN, 0};
        poll(&readable, 1, static_cast<int>(remaining.count()));
    }
}

}  // namespace varnelle
