#include "media/SilentAudioOutput.h"

#include <algorithm>

namespace varnelle {
namespace {

constexpr double kCapacityFrames = 0.15 * AudioOutput::kRate;

}  // namespace

std::size_t SilentAudioOutput::write(std::span<const float> samples) {
    const std::lock_guard lock(mutex_);
    const double room = kCapacityFrames - (static_cast<double>(framesWritten_) - advance());
    const std::size_t count =
        std::min(samples.size() / kChannels, static_cast<std::size_t>(std::max(room, 0.0)));
    framesWritten_ += static_cast<std::int64_t>(count);
    return count;
}

void SilentAudioOutput::start() {
    const std::lock_guard lock(mutex_);
    if (isStarted_) return;
    isStarted_ = true;
    lastAdvance_ = Clock::now();
}

void SilentAudioOutput::reset() {
    const std::lock_guard lock(mutex_);
    isStarted_ = false;
    framesWritten_ = 0;
    framesHeard_ = 0;
}

double SilentAudioOutput::framesHeard() const {
    const std::lock_guard lock(mutex_);
    return advance();
}

double SilentAudioOutput::advance() const {
    if (!isStarted_) return 0;
    const auto now = Clock::now();
    framesHeard_ = std::min(framesHeard_ + std::chrono::duration<double>(now - lastAdvance_).count() * kRate,
                            static_cast<double>(framesWritten_));
    lastAdvance_ = now;
    return framesHeard_;
}

}  // namespace varnelle
