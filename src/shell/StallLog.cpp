#include "shell/StallLog.h"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cstdio>
#include <ctime>

namespace varnelle {
namespace {

double now(clockid_t clock) {
    timespec time{};
    clock_gettime(clock, &time);
    return static_cast<double>(time.tv_sec) * 1e3 + static_cast<double>(time.tv_nsec) / 1e6;
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
    file_ << "waited worked receiver event" << std::endl;
    schedule_ = ::open("/proc/thread-self/schedstat", O_RDONLY | O_CLOEXEC);
}

StallLoggingApplication::~StallLoggingApplication() {
    if (schedule_ >= 0) ::close(schedule_);
}

StallLoggingApplication::Spent StallLoggingApplication::spent() const {
    std::array<char, 128> text{};
    unsigned long long running = 0;
    unsigned long long ready = 0;
    if (schedule_ >= 0 && ::pread(schedule_, text.data(), text.size() - 1, 0) > 0)
        std::sscanf(text.data(), "%llu %llu", &running, &ready);
    return {now(CLOCK_MONOTONIC), now(CLOCK_THREAD_CPUTIME_ID), static_cast<double>(ready) / 1e6};
}

bool StallLoggingApplication::notify(QObject* receiver, QEvent* event) {
    if (!file_.is_open() || depth_ > 0 || isDrawing(*receiver, *event))
        return QGuiApplication::notify(receiver, event);
    const char* receiverClass = receiver->metaObject()->className();  // it may be gone afterwards
    const int type = event->type();
    const Spent before = spent();
    ++depth_;
    const bool result = QGuiApplication::notify(receiver, event);
    --depth_;
    const Spent after = spent();
    const double worked = after.working - before.working;
    const double waited = after.wall - before.wall - worked - (after.ready - before.ready);
    const double longest = std::chrono::duration<double, std::milli>(kLongest).count();
    if (waited + worked > longest)
        file_ << std::max(waited, 0.0) << ' ' << worked << ' ' << receiverClass << ' ' << type << std::endl;
    return result;
}

}  // namespace varnelle
