#pragma once

#include <chrono>
#include <cstdint>
#include <mutex>

#include "media/AudioOutput.h"

namespace varnelle {

/// Where there is nothing to hear: sound passes by the monotonic clock.
class SilentAudioOutput final : public AudioOutput {
public:
    [[nodiscard]] std::size_t write(std::span<const float> samples) override;
    void start() override;
    void reset() override;
    [[nodiscard]] double framesHeard() const override;

private:
    using Clock = std::chrono::steady_clock;

    /// With the mutex held.
    double advance() const;

    mutable std::mutex mutex_;
    // guarded by mutex_
    std::int64_t framesWritten_ = 0;
    bool isStarted_ = false;
    mutable double framesHeard_ = 0;
    mutable Clock::time_point lastAdvance_;
};

}  // namespace varnelle
