#include "media/detail/PlayerSound.h"

#include <pthread.h>

#include <algorithm>
#include <chrono>
#include <cmath>
#include <optional>
#include <utility>
#include <vector>

#include "media/detail/LiveMixer.h"
#include "media/detail/MixFormat.h"
#include "media/detail/SoundStretcher.h"

namespace varnelle::detail {
namespace {

/// How often a full output is looked at again: far more often than it could run dry.
constexpr std::chrono::milliseconds kPollInterval{15};

}  // namespace

/// What the thread works with; nobody else sees it.
struct PlayerSound::Work {
    std::uint64_t generation = 0;
    std::shared_ptr<const Composition> composition;
    AudioMix mix;
    CMTime startTime;
    double rate = 1;
    std::optional<LiveMixer> mixer;
    std::optional<SoundStretcher> stretcher;
    std::vector<float> mixed;
    std::vector<float> waiting;  ///< for room in the output
    std::size_t waitingBegin = 0;
    bool isFlushed = false;
};

PlayerSound::PlayerSound(std::shared_ptr<AudioOutput> output)
    : output_(std::move(output)), thread_([this] { run(); }) {}

PlayerSound::~PlayerSound() {
    {
        const std::lock_guard lock(mutex_);
        isStopping_ = true;
        output_->reset();
    }
    wakeUp_.notify_all();
    thread_.join();
}

void PlayerSound::setComposition(std::shared_ptr<const Composition> composition, const AudioMix& mix) {
    stop();
    {
        const std::lock_guard lock(mutex_);
        composition_ = std::move(composition);
        mix_ = mix;
    }
    wakeUp_.notify_all();
}

void PlayerSound::setMix(const AudioMix& mix) {
    const std::lock_guard lock(mutex_);
    mix_ = mix;
}

void PlayerSound::start(const CMTime& from, double rate) {
    stop();
    {
        const std::lock_guard lock(mutex_);
        if (!composition_) return;
        startTime_ = from;
        rate_ = rate;
        const std::int64_t sourceFrames = mixPosition(composition_->duration()) - mixPosition(from);
        framesTotal_ = std::max<std::int64_t>(0, std::llround(static_cast<double>(sourceFrames) / rate));
        framesWritten_ = 0;
        ++generation_;
        isRunning_ = true;
        isReleased_ = false;
        isStarted_ = false;
    }
    wakeUp_.notify_all();
}

void PlayerSound::release() {
    {
        const std::lock_guard lock(mutex_);
        isReleased_ = true;
    }
    wakeUp_.notify_all();
}

CMTime PlayerSound::stop() {
    const std::lock_guard lock(mutex_);
    if (!isRunning_) return startTime_;
    startTime_ = timeNow();
    isRunning_ = false;
    ++generation_;
    output_->reset();
    return startTime_;
}

CMTime PlayerSound::time() const {
    const std::lock_guard lock(mutex_);
    return timeNow();
}

CMTime PlayerSound::timeNow() const {
    if (!isRunning_ || !isStarted_) return startTime_;
    const double heard = output_->framesHeard();
    if (heard >= static_cast<double>(framesTotal_)) return composition_->duration();
    return startTime_ + CMTime::make(static_cast<std::int64_t>(std::floor(heard * rate_)), kMixRate);
}

bool PlayerSound::hasEnded() const {
    const std::lock_guard lock(mutex_);
    return isRunning_ && isStarted_ && output_->framesHeard() >= static_cast<double>(framesTotal_);
}

void PlayerSound::run() {
    pthread_setname_np(pthread_self(), "player-sound");
    Work work;
    std::unique_lock lock(mutex_);
    while (!isStopping_) {
        const bool hasWork = isRunning_ && !(work.generation == generation_ && isAllWritten() && isStarted_);
        if (work.composition != composition_) {
            work.composition = composition_;
            lock.unlock();
            work.mixer.reset();
            if (work.composition) work.mixer.emplace(work.composition);
            work.generation = 0;
            lock.lock();
        } else if (!hasWork) {
            wakeUp_.wait(lock);
        } else if (work.generation != generation_) {
            work.generation = generation_;
            work.startTime = startTime_;
            work.rate = rate_;
            work.mix = mix_;
            lock.unlock();
            prepare(work);
            lock.lock();
        } else if (work.waitingBegin == work.waiting.size() && !isAllWritten()) {
            if (work.mix != mix_) work.mix = mix_;
            lock.unlock();
            mixMore(work);
            lock.lock();
        } else {
            writeSome(work);
            if (work.waitingBegin < work.waiting.size() || (isAllWritten() && !isStarted_)) {
                wakeUp_.wait_for(lock, kPollInterval);
            }
        }
    }
}

void PlayerSound::prepare(Work& work) const {
    work.stretcher.emplace(work.rate);
    work.waiting.clear();
    work.waitingBegin = 0;
    work.isFlushed = false;
    work.mixer->setMix(work.mix);
    work.mixer->seek(mixPosition(work.startTime));
}

void PlayerSound::mixMore(Work& work) const {
    work.waiting.clear();
    work.waitingBegin = 0;
    work.mixer->setMix(work.mix);
    while (work.waiting.empty()) {
        if (work.mixer->isAtEnd()) {
            if (!std::exchange(work.isFlushed, true)) {
                work.stretcher->flush(work.waiting);
            } else {
                // The clock needs as many samples as it counts on, whatever the stretcher made of them.
                work.waiting.assign(std::size_t{kMixRate} / 10 * kMixChannels, 0.0F);
            }
            continue;
        }
        work.mixed.clear();
        work.mixer->mixBlock(work.mixed);
        work.stretcher->process(work.mixed, work.waiting);
    }
}

void PlayerSound::writeSome(Work& work) {
    const auto left = static_cast<std::size_t>(framesTotal_ - framesWritten_);
    const std::size_t count = std::min((work.waiting.size() - work.waitingBegin) / kMixChannels, left);
    const std::size_t taken =
        output_->write(std::span<const float>(work.waiting).subspan(work.waitingBegin, count * kMixChannels));
    framesWritten_ += static_cast<std::int64_t>(taken);
    work.waitingBegin += taken * kMixChannels;
    if (isAllWritten()) work.waitingBegin = work.waiting.size();
    const bool isFilled = taken < count || isAllWritten();
    if (!isReleased_ || isStarted_ || !isFilled) return;
    output_->start();
    isStarted_ = true;
}

}  // namespace varnelle::detail
