#pragma once

#include <deque>
#include <functional>
#include <future>
#include <mutex>
#include <thread>

struct pw_loop;
struct spa_source;

namespace varnelle {

/// The thread on which all objects of PipeWire live: its library isn't safe to share. Other threads hand it
/// work; the work must not block.
class PipeWireLoop {
public:
    PipeWireLoop();
    /// Does what is still posted, then ends the thread.
    ~PipeWireLoop();
    PipeWireLoop(const PipeWireLoop&) = delete;
    PipeWireLoop& operator=(const PipeWireLoop&) = delete;

    /// Any thread.
    void post(std::function<void()> work);
    /// Runs work on the thread and waits for it, or runs it at once if called there.
    void sync(const std::function<void()>& work);
    [[nodiscard]] bool isCurrent() const { return std::this_thread::get_id() == thread_.get_id(); }
    /// For calls on the thread.
    [[nodiscard]] pw_loop* loop() const { return loop_; }

private:
    void run();
    void runPosted();

    pw_loop* loop_ = nullptr;
    spa_source* wakeUp_ = nullptr;
    bool isStopping_ = false;  // loop thread only
    std::mutex mutex_;
    std::deque<std::function<void()>> posted_;  // guarded by mutex_
    std::thread thread_;
};

}  // namespace varnelle
