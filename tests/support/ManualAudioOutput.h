#pragma once

#include <algorithm>
#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <mutex>
#include <vector>

#include "media/AudioOutput.h"

namespace varnelle::test {

/// An output whose clock the test turns. It remembers what was heard.
class ManualAudioOutput final : public AudioOutput {
public:
    [[nodiscard]] std::size_t write(std::span<const float> samples) override {
        const std::lock_guard lock(mutex_);
        const std::size_t waiting = written_.size() / kChannels - heard_;
        const std::size_t count = std::min(samples.size() / kChannels, kCapacity - waiting);
        written_.insert(written_.end(), samples.begin(),
                        samples.begin() + static_cast<std::ptrdiff_t>(count * kChannels));
        changed_.notify_all();
        return count;
    }
    void start() override {
        const std::lock_guard lock(mutex_);
        isStarted_ = true;
        changed_.notify_all();
    }
    void reset() override {
        const std::lock_guard lock(mutex_);
        isStarted_ = false;
        written_.clear();
        heard_ = 0;
        ++resetCount_;
    }
    [[nodiscard]] double framesHeard() const override {
        const std::lock_guard lock(mutex_);
        return static_cast<double>(heard_);
    }

    /// Lets so many frames be heard, as soon as they are there; false if they don't come.
    bool advance(std::size_t frames) {
        std::unique_lock lock(mutex_);
        for (std::size_t end = heard_ + frames; heard_ < end;) {
            const auto hasSome = [&] { return isStarted_ && written_.size() / kChannels > heard_; };
            if (!changed_.wait_for(lock, std::chrono::seconds(20), hasSome)) return false;
            heard_ = std::min(end, written_.size() / kChannels);
        }
        return true;
    }
    /// One channel of what has been heard since the last reset.
    [[nodiscard]] std::vector<float> heard(std::size_t channel = 0) const {
        const std::lock_guard lock(mutex_);
        std::vector<float> sound(heard_);
        for (std::size_t i = 0; i < heard_; ++i) sound[i] = written_[i * kChannels + channel];
        return sound;
    }
    [[nodiscard]] int resetCount() const {
        const std::lock_guard lock(mutex_);
        return resetCount_;
    }

private:
    static constexpr std::size_t kCapacity = kRate / 8;

    mutable std::mutex mutex_;
    std::condition_variable changed_;
    // guarded by mutex_
    std::vector<float> written_;
    std::size_t heard_ = 0;
    bool isStarted_ = false;
    int resetCount_ = 0;
};

}  // namespace varnelle::test
