#include "media/Player.h"

#include <pthread.h>

#include <algorithm>
#include <condition_variable>
#include <deque>
#include <mutex>
#include <optional>
#include <thread>
#include <utility>

#include "media/detail/FrameGrid.h"
#include "media/detail/PlayerPictures.h"
#include "media/detail/PlayerSound.h"

namespace varnelle {
namespace {

using Clock = std::chrono::steady_clock;
using Action = std::function<void()>;

constexpr double kSlowest = 0.5;
constexpr double kFastest = 8;
/// How long playing waits for the first frames. Without them it begins all the same.
constexpr std::chrono::milliseconds kLongestPreroll{300};
/// The clock isn't ours: nobody wakes the thread when it has come to a time, so it looks.
constexpr std::chrono::milliseconds kLongestNap{10};
constexpr std::chrono::microseconds kShortestNap{500};

/// Wakes the thread that hands out frames. Shared with frames in work, which may outlive the player.
class WakeUp {
public:
    void notify() {
        {
            const std::lock_guard lock(mutex_);
            isAwake_ = true;
        }
        changed_.notify_one();
    }
    void waitUntil(const std::optional<Clock::time_point>& time) {
        std::unique_lock lock(mutex_);
        const auto isAwake = [this] { return isAwake_; };
        if (time) {
            changed_.wait_until(lock, *time, isAwake);
        } else {
            changed_.wait(lock, isAwake);
        }
        isAwake_ = false;
    }

private:
    std::mutex mutex_;
    std::condition_variable changed_;
    bool isAwake_ = false;  // guarded by mutex_
};

}  // namespace

class Player::Implementation {
public:
    explicit Implementation(std::shared_ptr<AudioOutput> output)
        : sound_(std::move(output)),
          pictures_([wakeUp = wakeUp_] { wakeUp->notify(); }),
          thread_([this] { run(); }) {}

    ~Implementation() {
        {
            const std::lock_guard lock(mutex_);
            stopRunning();
            endSeek(false);
            isStopping_ = true;
        }
        wakeUp_->notify();
        thread_.join();
    }

    void setHandlers(Handlers handlers) {
        const std::lock_guard lock(mutex_);
        handlers_ = std::move(handlers);
    }

    void replaceCurrentItem(std::shared_ptr<const PlayerItem> item) {
        detail::FrameGrid grid;
        if (item) grid = {item->composition->duration(), item->videoComposition.frameDuration};
        const std::lock_guard lock(mutex_);
        stopRunning();
        endSeek(false);
        setPlaying(false);
        item_ = item;
        grid_ = grid;
        position_ = kCMTimeZero;
        shownIndex_.reset();
        sound_.setComposition(item ? item->composition : nullptr, item ? item->audioMix : AudioMix());
        pictures_.setItem(std::move(item), grid);
        wakeUp_->notify();
    }

    void play() {
        const std::lock_guard lock(mutex_);
        if (!item_ || wantsToPlay_) return;
        setPlaying(true);
        if (!seek_) startRunning();
        wakeUp_->notify();
    }

    void pause() {
        const std::lock_guard lock(mutex_);
        const bool wasPlaying = wantsToPlay_;
        stopRunning();
        setPlaying(false);
        if (!seek_) showPosition();
        if (wasPlaying) reportTime(position_);
        wakeUp_->notify();
    }

    void setRate(double rate) {
        const std::lock_guard lock(mutex_);
        const double limited = std::clamp(rate, kSlowest, kFastest);
        if (std::exchange(rate_, limited) == limited || !isRunning_) return;
        position_ = sound_.stop();
        pictures_.setRate(rate_);
        sound_.start(position_, rate_);
        isReleased_ = false;
        wakeUp_->notify();
    }

    void seek(const CMTime& time, std::function<void(bool)> completion) {
        const std::lock_guard lock(mutex_);
        endSeek(false);
        stopRunning();
        const CMTime end = item_ ? item_->composition->duration() : kCMTimeZero;
        position_ =
            std::clamp(time.isNumeric() ? time : kCMTimeZero, kCMTimeZero, std::max(end, kCMTimeZero));
        if (grid_.count() > 0) {
            seek_ = Seek{pictures_.requestStill(grid_.indexAt(position_)), std::move(completion)};
        } else if (completion) {
            callbacks_.push_back([completion = std::move(completion)] { completion(false); });
        }
        wakeUp_->notify();
    }

    void cancelPendingSeeks() {
        const std::lock_guard lock(mutex_);
        if (!seek_) return;
        pictures_.cancelStill();
        endSeek(false);
        if (wantsToPlay_) startRunning();
        wakeUp_->notify();
    }

    void setAudioMix(const AudioMix& mix) { sound_.setMix(mix); }

    void setRenderSize(CGSize pixels) {
        pictures_.setRenderSize(pixels);
        redraw();
    }

    void redraw() {
        const std::lock_guard lock(mutex_);
        // What is made ahead while playing will show the change in a moment.
        isStale_ = isRunning_;
        if (isRunning_) return;
        const auto index = seek_ ? std::optional(grid_.indexAt(position_)) : shownIndex_;
        if (index) pictures_.redrawStill(*index);
    }

    [[nodiscard]] bool isPlaying() const {
        const std::lock_guard lock(mutex_);
        return wantsToPlay_;
    }

    [[nodiscard]] CMTime currentTime() const {
        const std::lock_guard lock(mutex_);
        return isRunning_ ? sound_.time() : position_;
    }

    [[nodiscard]] Statistics statistics() const {
        const auto counts = pictures_.counts();
        return {counts.shown, counts.dropped};
    }

private:
    struct Seek {
        std::uint64_t request;
        std::function<void(bool)> completion;
    };

    void run() {
        pthread_setname_np(pthread_self(), "player");
        while (true) {
            Action action;
            std::optional<Clock::time_point> napEnd;
            {
                const std::lock_guard lock(mutex_);
                action = nextAction();
                if (!action && isStopping_) return;
                if (!action && isRunning_) napEnd = nextLook();
            }
            if (action) {
                action();
            } else {
                wakeUp_->waitUntil(napEnd);
            }
        }
    }

    // All with the mutex held.

    /// What is to be told now; empty if that is nothing.
    Action nextAction() {
        if (callbacks_.empty() && !isStopping_) {
            if (Action showing = takeFrame()) return showing;
            lookAtClock();
        }
        if (callbacks_.empty()) return {};
        Action callback = std::move(callbacks_.front());
        callbacks_.pop_front();
        return callback;
    }

    Action takeFrame() {
        if (const auto failure = pictures_.takeFailure()) {
            fail(failure);
            return {};
        }
        if (const auto still = pictures_.takeStill()) {
            shownIndex_ = still->index;
            if (seek_ && seek_->request == still->request) {
                endSeek(true);
                if (wantsToPlay_) startRunning();
            }
            return showing(*still);
        }
        if (!isRunning_) return {};
        const auto due = pictures_.takeDue(sound_.time());
        if (!due) return {};
        shownIndex_ = due->index;
        return showing(*due);
    }

    [[nodiscard]] Action showing(const detail::PlayerPictures::Picture& picture) const {
        if (!handlers_.onFrame) return [] {};
        return [handler = handlers_.onFrame,
                frame = PlayerFrame{picture.picture, grid_.time(picture.index)}] { handler(frame); };
    }

    void lookAtClock() {
        if (!isRunning_) return;
        const auto now = Clock::now();
        if (!isReleased_ && (pictures_.isReadyToRun() || now >= prerollEnd_)) {
            isReleased_ = true;
            sound_.release();
        }
        if (sound_.hasEnded()) {
            stopRunning();
            setPlaying(false);
            showPosition();
            if (handlers_.onEnd)
                callbacks_.push_back([handler = handlers_.onEnd, item = item_] { handler(item); });
        } else if (now >= nextReport_) {
            nextReport_ = now + handlers_.timeInterval;
            reportTime(sound_.time());
        }
    }

    /// When the clock may have come to something.
    [[nodiscard]] Clock::time_point nextLook() const {
        const auto now = Clock::now();
        auto nap = std::chrono::duration_cast<std::chrono::microseconds>(kLongestNap);
        if (const auto due = pictures_.nextDueTime()) {
            const double seconds = (*due - sound_.time()).seconds() / rate_;
            nap = std::min(nap, std::chrono::microseconds(static_cast<std::int64_t>(seconds * 1e6)));
        }
        return std::min(now + std::max(nap, kShortestNap), std::max(nextReport_, now));
    }

    void startRunning() {
        isRunning_ = true;
        isReleased_ = false;
        prerollEnd_ = Clock::now() + kLongestPreroll;
        nextReport_ = prerollEnd_ - kLongestPreroll;
        const std::int64_t index = grid_.indexAt(position_);
        sound_.start(position_, rate_);
        pictures_.run([this] { return sound_.time(); }, rate_, shownIndex_ == index ? index + 1 : index);
    }

    void stopRunning() {
        if (!std::exchange(isRunning_, false)) return;
        position_ = sound_.stop();
        pictures_.stopRun();
    }

    /// Has the frame of the present position shown, unless it is and looks as it should.
    void showPosition() {
        const std::int64_t index = grid_.indexAt(position_);
        const bool isStale = std::exchange(isStale_, false);
        if (grid_.count() == 0) return;
        if (shownIndex_ != index) {
            pictures_.requestStill(index);
        } else if (isStale) {
            pictures_.redrawStill(index);
        }
    }

    void setPlaying(bool isPlaying) {
        if (std::exchange(wantsToPlay_, isPlaying) == isPlaying || !handlers_.onStatusChange) return;
        callbacks_.push_back(handlers_.onStatusChange);
    }

    void reportTime(const CMTime& time) {
        if (handlers_.onTime) callbacks_.push_back([handler = handlers_.onTime, time] { handler(time); });
    }

    void endSeek(bool isFinished) {
        if (!seek_) return;
        if (seek_->completion) {
            callbacks_.push_back(
                [completion = std::move(seek_->completion), isFinished] { completion(isFinished); });
        }
        seek_.reset();
    }

    void fail(const std::exception_ptr& failure) {
        stopRunning();
        endSeek(false);
        setPlaying(false);
        if (handlers_.onFailure)
            callbacks_.push_back(
                [handler = handlers_.onFailure, item = item_, failure] { handler(item, failure); });
    }

    mutable std::mutex mutex_;
    // guarded by mutex_
    Handlers handlers_;
    std::shared_ptr<const PlayerItem> item_;
    detail::FrameGrid grid_;
    double rate_ = 1;
    bool wantsToPlay_ = false;
    bool isRunning_ = false;   ///< the clock is, unless a seek comes first
    bool isReleased_ = false;  ///< the first frames are there
    Clock::time_point prerollEnd_;
    Clock::time_point nextReport_;
    CMTime position_ = kCMTimeZero;  ///< while the clock isn't running
    std::optional<std::int64_t> shownIndex_;
    bool isStale_ = false;  ///< something was to be drawn again that may have been made ahead
    std::optional<Seek> seek_;
    std::deque<Action> callbacks_;
    bool isStopping_ = false;

    const std::shared_ptr<WakeUp> wakeUp_ = std::make_shared<WakeUp>();
    detail::PlayerSound sound_;        // called with mutex_ held
    detail::PlayerPictures pictures_;  // called with mutex_ held; asks the sound for the time
    std::thread thread_;
};

Player::Player(std::shared_ptr<AudioOutput> output)
    : implementation_(std::make_unique<Implementation>(std::move(output))) {}

Player::~Player() = default;

void Player::setHandlers(Handlers handlers) {
    implementation_->setHandlers(std::move(handlers));
}
void Player::replaceCurrentItem(std::shared_ptr<const PlayerItem> item) {
    implementation_->replaceCurrentItem(std::move(item));
}
void Player::play() {
    implementation_->play();
}
void Player::pause() {
    implementation_->pause();
}
void Player::setRate(double rate) {
    implementation_->setRate(rate);
}
void Player::seek(const CMTime& time, std::function<void(bool isFinished)> completion) {
    implementation_->seek(time, std::move(completion));
}
void Player::cancelPendingSeeks() {
    implementation_->cancelPendingSeeks();
}
void Player::setAudioMix(const AudioMix& mix) {
    implementation_->setAudioMix(mix);
}
void Player::setRenderSize(CGSize pixels) {
    implementation_->setRenderSize(pixels);
}
void Player::redraw() {
    implementation_->redraw();
}
bool Player::isPlaying() const {
    return implementation_->isPlaying();
}
CMTime Player::currentTime() const {
    return implementation_->currentTime();
}
Player::Statistics Player::statistics() const {
    return implementation_->statistics();
}

}  // namespace varnelle
