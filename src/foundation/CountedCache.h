#pragma once

#include <cstddef>
#include <list>
#include <mutex>
#include <optional>
#include <unordered_map>
#include <utility>

namespace varnelle {

/// A cache bounded by its number of entries: the one used least recently goes first. Safe to share between
/// threads; values are copied out, so keep them cheap to copy (a shared pointer).
template <typename Key, typename Value>
class CountedCache {
public:
    explicit CountedCache(std::size_t countLimit) : countLimit_(countLimit) {}

    [[nodiscard]] std::optional<Value> object(const Key& key) {
        const std::lock_guard lock(mutex_);
        const auto found = index_.find(key);
        if (found == index_.end()) return std::nullopt;
        entries_.splice(entries_.begin(), entries_, found->second);
        return found->second->second;
    }

    void setObject(const Key& key, Value value) {
        const std::lock_guard lock(mutex_);
        if (const auto found = index_.find(key); found != index_.end()) {
            found->second->second = std::move(value);
            entries_.splice(entries_.begin(), entries_, found->second);
            return;
        }
        entries_.emplace_front(key, std::move(value));
        index_.emplace(key, entries_.begin());
        if (entries_.size() > countLimit_) {
            index_.erase(entries_.back().first);
            entries_.pop_back();
        }
    }

    void removeAllObjects() {
        const std::lock_guard lock(mutex_);
        index_.clear();
        entries_.clear();
    }

    [[nodiscard]] std::size_t count() const {
        const std::lock_guard lock(mutex_);
        return entries_.size();
    }

private:
    using Entries = std::list<std::pair<Key, Value>>;

    const std::size_t countLimit_;
    mutable std::mutex mutex_;
    Entries entries_;  // most recently used first
    std::unordered_map<Key, typename Entries::iterator> index_;
};

}  // namespace varnelle
