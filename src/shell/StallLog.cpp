#include "shell/StallLog.h"

#include <sys/resource.h>

#include <ctime>

namespace varnelle {
namespace {

double milliseconds(const timespec& time) {
    return static_cast<double>(time.tv_sec) * 1e3 + static_cast<double>(time.tv_nsec) / 1e6;
}

double now(clockid_t clock) {
    timespec time{};
    clock_gettime(clock, &time);
    return milliseconds(time);
}

/// How often the thread has given the processor up to wait for something.
long waits() {
    rusage usage{};
    getrusage(RUSAGE_THREAD, &usage);
    return usage.ru_nvcsw;
}

/// A window's own timer is what its next frame is drawn by.
bool isDrawing(const QObject& receiver, const QEvent& event) {
    return event.type() == QEvent::UpdateRequest || event.type() == QEvent::Expose ||
           event.type() == QEvent::Paint || (event.type() == QEvent::Timer && receiver.isWindowType());
}

}  // namespace

StallLoggingApplication::StallLoggingApplication(int& argc, char** argv, const std::string& path)
    : QGuiApplication(argc, argv) {
    if (path.empty()) return;
    file_.open(path, std::ios::app);
    file_ << "milliseconds receiver event" << std::endl;
}

bool StallLoggingApplication::notify(QObject* receiver, QEvent* event) {
    if (!file_.is_open() || depth_ > 0 || isDrawing(*receiver, *event))
        return QGuiApplication::notify(receiver, event);
    const char* receiverClass = receiver->metaObject()->className();  // it may be gone afterwards
    const int type = event->type();
    const double wallBefore = now(CLOCK_MONOTONIC);
    const double workBefore = now(CLOCK_THREAD_CPUTIME_ID);
    const long waitsBefore = waits();
    ++depth_;
    const bool result = QGuiApplication::notify(receiver, event);
    --depth_;
    const double wall = now(CLOCK_MONOTONIC) - wallBefore;
    const double work = now(CLOCK_THREAD_CPUTIME_ID) - workBefore;
    const double longest = std::chrono::duration<double, std::milli>(kLongest).count();
    const double stall = waits() == waitsBefore ? work : wall;
    if (stall > longest) file_ << stall << ' ' << receiverClass << ' ' << type << std::endl;
    return result;
}

}  // namespace varnelle
