#include "platform/linux/X11EventThread.h"

#include <poll.h>
#include <sys/socket.h>

#include <utility>

namespace varnelle {

X11EventThread::X11EventThread(X11Connection& connection, std::chrono::milliseconds restTime,
                               std::function<void(const xcb_generic_event_t&)> handler)
    : connection_(connection),
      descriptor_(connection.fileDescriptor()),
      restTime_(restTime),
      handler_(std::move(handler)),
      thread_([this] { run(); }) {}

X11EventThread::~X11EventThread() {
    // Ends every wait for the server at once, in whichever library.
    shutdown(descriptor_, SHUT_RDWR);
    thread_.join();
}

void X11EventThread::run() {
    xcb_flush(connection_.get());
    while (!connection_.isLost()) {
        bool isEmpty = true;
        while (const XReply<xcb_generic_event_t> event{xcb_poll_for_event(connection_.get())}) {
            isEmpty = false;
            if ((event->response_type & 0x7F) != 0) handler_(*event);
        }
        if (!isEmpty && restTime_.count() > 0) {
            std::this_thread::sleep_for(restTime_);
        } else if (isEmpty) {
            pollfd readable{descriptor_, POLLIN, 0};
            poll(&readable, 1, -1);
        }
    }
}

}  // namespace varnelle
