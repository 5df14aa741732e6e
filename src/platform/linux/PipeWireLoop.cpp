#include "platform/linux/PipeWireLoop.h"

#include <pipewire/pipewire.h>
#include <pthread.h>

#include <cstdlib>
#include <utility>

#include "platform/PlatformError.h"

namespace varnelle {
namespace {

void initializeLibrary() {
    static std::once_flag once;
    std::call_once(once, [] {
        pw_init(nullptr, nullptr);
        // The library writes to standard error what this program reports, or has no reason to report.
        if (std::getenv("PIPEWIRE_DEBUG") == nullptr) pw_log_set_level(SPA_LOG_LEVEL_NONE);
    });
}

}  // namespace

PipeWireLoop::PipeWireLoop() {
    initializeLibrary();
    loop_ = pw_loop_new(nullptr);
    if (loop_ == nullptr) {
        throw PlatformError(PlatformError::Code::requestFailed, "The sound system's library doesn't start.");
    }
    const auto onWakeUp = [](void* self, std::uint64_t) { static_cast<PipeWireLoop*>(self)->runPosted(); };
    wakeUp_ = pw_loop_add_event(loop_, onWakeUp, this);
    thread_ = std::thread([this] { run(); });
}

PipeWireLoop::~PipeWireLoop() {
    post([this] { isStopping_ = true; });
    thread_.join();
    pw_loop_destroy_source(loop_, wakeUp_);
    pw_loop_destroy(loop_);
}

void PipeWireLoop::post(std::function<void()> work) {
    {
        const std::lock_guard lock(mutex_);
        posted_.push_back(std::move(work));
    }
    pw_loop_signal_event(loop_, wakeUp_);
}

void PipeWireLoop::sync(const std::function<void()>& work) {
    if (isCurrent()) return work();
    std::promise<void> done;
    post([&] {
        work();
        done.set_value();
    });
    done.get_future().wait();
}

void PipeWireLoop::run() {
    pthread_setname_np(pthread_self(), "pipewire");
    pw_loop_enter(loop_);
    while (!isStopping_) pw_loop_iterate(loop_, -1);
    pw_loop_leave(loop_);
}

void PipeWireLoop::runPosted() {
    std::deque<std::function<void()>> works;
    {
        const std::lock_guard lock(mutex_);
        works.swap(posted_);
    }
    for (const auto& work : works) work();
}

}  // namespace varnelle
