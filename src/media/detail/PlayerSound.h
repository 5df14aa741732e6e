#pragma once

#include <condition_variable>
#include <cstdint>
#include <memory>
#include <mutex>
#include <thread>

#include "media/AudioMix.h"
#include "media/AudioOutput.h"
#include "media/Composition.h"

namespace varnelle::detail {

/// The sound of a player, and by it the player's clock. A thread of its own mixes as far ahead as the output
/// takes, so that a change of volumes is heard soon. Safe to share between threads; no call waits for a file
/// or a device.
class PlayerSound {
public:
    explicit PlayerSound(std::shared_ptr<AudioOutput> output);
    /// Falls silent and ends the thread.
    ~PlayerSound();
    PlayerSound(const PlayerSound&) = delete;
    PlayerSound& operator=(const PlayerSound&) = delete;

    /// What is played from now on; null for nothing. Stops.
    void setComposition(std::shared_ptr<const Composition> composition, const AudioMix& mix);
    void setMix(const AudioMix& mix);
    /// Gets ready to play from a time on. Time stands there until `release` and until some sound is mixed.
    void start(const CMTime& from, double rate);
    void release();
    /// Falls silent; returns the time that was reached.
    CMTime stop();

    /// Where playing has come to by what has been heard; where it ended last if it is stopped.
    [[nodiscard]] CMTime time() const;
    /// Everything up to the composition's end has been heard.
    [[nodiscard]] bool hasEnded() const;

private:
    struct Work;

    void run();
    void prepare(Work& work) const;
    void mixMore(Work& work) const;
    void writeSome(Work& work);
    // With the mutex held.
    [[nodiscard]] CMTime timeNow() const;
    [[nodiscard]] bool isAllWritten() const { return framesWritten_ == framesTotal_; }

    const std::shared_ptr<AudioOutput> output_;  // called with mutex_ held

    mutable std::mutex mutex_;
    std::condition_variable wakeUp_;
    // guarded by mutex_
    std::shared_ptr<const Composition> composition_;
    AudioMix mix_;
    CMTime startTime_ = kCMTimeZero;
    double rate_ = 1;
    std::uint64_t generation_ = 0;  ///< counts starts and stops
    bool isRunning_ = false;
    bool isReleased_ = false;
    bool isStarted_ = false;  ///< the output is
    std::int64_t framesTotal_ = 0;
    std::int64_t framesWritten_ = 0;
    bool isStopping_ = false;

    std::thread thread_;
};

}  // namespace varnelle::detail
