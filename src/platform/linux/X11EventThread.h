#pragma once

#include <chrono>
#include <functional>
#include <thread>

#include "platform/linux/X11Connection.h"

namespace varnelle {

/// Hands the events of a connection to a handler, on a thread of its own, until it is destroyed or the
/// display is lost. The connection is that thread's meanwhile, and of no use afterwards.
class X11EventThread {
public:
    /// After each bunch of events it rests for `restTime`.
    X11EventThread(X11Connection& connection, std::chrono::milliseconds restTime,
                   std::function<void(const xcb_generic_event_t&)> handler);
    ~X11EventThread();
    X11EventThread(const X11EventThread&) = delete;
    X11EventThread& operator=(const X11EventThread&) = delete;

private:
    void run();

    X11Connection& connection_;
    const int descriptor_;
    const std::chrono::milliseconds restTime_;
    const std::function<void(const xcb_generic_event_t&)> handler_;
    std::thread thread_;
};

}  // namespace varnelle
