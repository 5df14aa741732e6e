#pragma once

#include <xcb/xcb.h>

#include <chrono>
#include <cstdlib>
#include <map>
#include <memory>
#include <string>

#include "platform/PlatformError.h"

namespace varnelle {

struct FreeDeleter {
    void operator()(void* memory) const { std::free(memory); }
};

template <typename Reply>
using XReply = std::unique_ptr<Reply, FreeDeleter>;

/// A connection to an X server, for one thread at a time. Every wait for an answer has a deadline, so that a
/// server that hangs can't hang the program.
class X11Connection {
public:
    /// Throws `PlatformError` (`displayUnavailable`), naming the display.
    explicit X11Connection(const std::string& displayName);

    [[nodiscard]] xcb_connection_t* get() const { return connection_.get(); }
    [[nodiscard]] const xcb_screen_t& screen() const { return *screen_; }
    [[nodiscard]] const std::string& displayName() const { return displayName_; }
    [[nodiscard]] int fileDescriptor() const { return xcb_get_file_descriptor(connection_.get()); }
    [[nodiscard]] bool isLost() const { return xcb_connection_has_error(connection_.get()) != 0; }
    [[nodiscard]] PlatformError lostError() const;

    /// The answer to a request. Throws `PlatformError`: `displayLost` if the connection is gone or silent
    /// until the timeout, `requestFailed` if the server refused; `request` is the request's name for the
    /// text.
    template <typename Reply, typename Cookie>
    XReply<Reply> reply(Cookie cookie, const char* request,
                        std::chrono::milliseconds timeout = kReplyTimeout) {
        return XReply<Reply>(static_cast<Reply*>(waitForReply(cookie.sequence, request, timeout)));
    }
    /// The answer, or null if the server refused, as it does for a window that is gone. Throws
    /// `PlatformError`
    /// (`displayLost`).
    template <typename Reply, typename Cookie>
    XReply<Reply> replyIfGranted(Cookie cookie, const char* request) {
        try {
            return reply<Reply>(cookie, request);
        } catch (const PlatformError& error) {
            if (error.code() != PlatformError::Code::requestFailed) throw;
            return nullptr;
        }
    }
    /// The server's number of a name. Throws `PlatformError`.
    [[nodiscard]] xcb_atom_t atom(const std::string& name);
    /// Waits until the server has carried out a request that has no answer. Throws as `reply` does.
    void check(xcb_void_cookie_t checkedCookie, const char* request);
    /// Whether the server has an extension.
    [[nodiscard]] bool hasExtension(xcb_extension_t& extension);

    static constexpr std::chrono::milliseconds kReplyTimeout{5000};

private:
    struct Disconnect {
        void operator()(xcb_connection_t* connection) const { xcb_disconnect(connection); }
    };

    void* waitForReply(unsigned int sequence, const char* request, std::chrono::milliseconds timeout);

    std::string displayName_;
    std::unique_ptr<xcb_connection_t, Disconnect> connection_;
    xcb_screen_t* screen_ = nullptr;
    std::map<std::string, xcb_atom_t> atoms_;
};

}  // namespace varnelle
