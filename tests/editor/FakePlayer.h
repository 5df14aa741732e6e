#pragma once

#include <fmt/format.h>

#include <atomic>
#include <functional>
#include <future>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "media/PlayerControls.h"

namespace varnelle::test {

/// A player that the test plays: it notes what it is told, and ends seeks when it is asked to.
class FakePlayer final : public PlayerControls {
public:
    /// What it was told, in order. It outlives the player.
    struct Log {
        std::vector<std::string> commands;
        std::vector<std::shared_ptr<const PlayerItem>> items;
        AudioMix mix;
        CGSize renderSize;
        std::atomic<bool> isDestroyed = false;
        std::shared_future<void> mayEnd;  ///< if valid, what the player's end waits for
    };

    explicit FakePlayer(std::shared_ptr<Log> log) : log_(std::move(log)) {}
    ~FakePlayer() override {
        endSeek(false);
        if (log_->mayEnd.valid()) log_->mayEnd.wait();
        log_->isDestroyed = true;
    }

    void setHandlers(Handlers newHandlers) override { handlers = std::move(newHandlers); }
    void replaceCurrentItem(std::shared_ptr<const PlayerItem> item) override {
        endSeek(false);
        log_->commands.emplace_back(item ? "item" : "no item");
        if (item) log_->items.push_back(std::move(item));
        setPlaying(false);
    }
    void play() override {
        log_->commands.emplace_back("play");
        setPlaying(true);
    }
    void pause() override {
        log_->commands.emplace_back("pause");
        setPlaying(false);
    }
    void setRate(double rate) override { log_->commands.push_back(fmt::format("rate {}", rate)); }
    void seek(const CMTime& time, std::function<void(bool)> completion) override {
        endSeek(false);
        log_->commands.push_back(fmt::format("seek {}", time.seconds()));
        completion_ = std::move(completion);
        if (endsSeeks) endSeek(true);
    }
    void cancelPendingSeeks() override {
        if (completion_) log_->commands.emplace_back("cancel");
        endSeek(false);
    }
    void setAudioMix(const AudioMix& mix) override {
        log_->commands.emplace_back("mix");
        log_->mix = mix;
    }
    void setRenderSize(CGSize pixels) override { log_->renderSize = pixels; }
    void redraw() override { log_->commands.emplace_back("redraw"); }
    [[nodiscard]] bool isPlaying() const override { return isPlaying_; }
    [[nodiscard]] CMTime currentTime() const override { return kCMTimeZero; }

    void endSeek(bool isFinished) {
        if (const auto completion = std::exchange(completion_, nullptr)) completion(isFinished);
    }
    /// Comes to the end of an item.
    void end(const std::shared_ptr<const PlayerItem>& item) {
        setPlaying(false);
        handlers.onEnd(item);
    }

    Handlers handlers;
    bool endsSeeks = true;  ///< at once

private:
    void setPlaying(bool isPlaying) {
        if (std::exchange(isPlaying_, isPlaying) != isPlaying && handlers.onStatusChange)
            handlers.onStatusChange();
    }

    std::shared_ptr<Log> log_;
    std::function<void(bool)> completion_;
    bool isPlaying_ = false;
};

}  // namespace varnelle::test
