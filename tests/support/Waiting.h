#pragma once

#include <chrono>
#include <condition_variable>
#include <mutex>
#include <thread>
#include <utility>
#include <vector>

namespace varnelle::test {

/// For what surely comes, even on a busy machine.
inline constexpr std::chrono::seconds kPatience{20};

/// Looks again and again, until `condition` holds or the deadline has passed; tells which. For conditions
/// that can't notify, such as those of another process. Pauses between the looks.
template <typename Condition>
bool waitUntil(Condition condition, std::chrono::milliseconds deadline,
               std::chrono::milliseconds pause = std::chrono::milliseconds(2)) {
    const auto end = std::chrono::steady_clock::now() + deadline;
    while (!condition()) {
        if (std::chrono::steady_clock::now() > end) return false;
        std::this_thread::sleep_for(pause);
    }
    return true;
}

/// Things that arrive from other threads, in order, to be waited for.
template <typename Item>
class Inbox {
public:
    void put(Item item) {
        const std::lock_guard lock(mutex_);
        items_.push_back(std::move(item));
        changed_.notify_all();
    }
    /// Waits until `condition`, given all items, holds; false after the deadline.
    template <typename Condition>
    bool waitFor(Condition condition, std::chrono::milliseconds deadline) {
        std::unique_lock lock(mutex_);
        return changed_.wait_for(lock, deadline, [&] { return condition(std::as_const(items_)); });
    }
    bool waitForCount(std::size_t count, std::chrono::milliseconds deadline) {
        return waitFor([count](const std::vector<Item>& items) { return items.size() >= count; }, deadline);
    }
    [[nodiscard]] std::vector<Item> items() const {
        const std::lock_guard lock(mutex_);
        return items_;
    }
    [[nodiscard]] std::size_t count() const {
        const std::lock_guard lock(mutex_);
        return items_.size();
    }
    void clear() {
        const std::lock_guard lock(mutex_);
        items_.clear();
    }

private:
    mutable std::mutex mutex_;
    std::condition_variable changed_;
    std::vector<Item> items_;  // guarded by mutex_
};

}  // namespace varnelle::test
