#pragma once

#include <cstdint>
#include <exception>
#include <functional>
#include <memory>
#include <optional>
#include <thread>

#include "media/PlayerControls.h"
#include "media/detail/FrameGrid.h"

namespace varnelle::detail {

/// The pictures of a player. One thread decodes, the compositor draws on its own; either a single frame that
/// is wanted now (a *still*), or frame after frame ahead of a clock (a *run*). Whatever a newer call has
/// overtaken is given up in the middle of the work. Frames that were decoded lately are kept, so that going
/// back and forth decodes each of them once.
///
/// Safe to share between threads; no call waits for a file or a drawing.
class PlayerPictures {
public:
    struct Picture {
        VideoFrame picture;
        std::int64_t index = 0;     ///< on the grid
        std::uint64_t request = 0;  ///< of a still: which one
    };
    struct Counts {
        std::int64_t shown = 0;    ///< frames that were taken while running
        std::int64_t dropped = 0;  ///< frames between them that weren't there in time
    };

    /// `onChange` is called when there is something to take, on any thread, perhaps even when the object has
    /// gone; it mustn't call back.
    explicit PlayerPictures(std::function<void()> onChange);
    /// Gives up everything and ends the thread.
    ~PlayerPictures();
    PlayerPictures(const PlayerPictures&) = delete;
    PlayerPictures& operator=(const PlayerPictures&) = delete;

    /// What is shown from now on; null for nothing. Overtakes everything.
    void setItem(std::shared_ptr<const PlayerItem> item, const FrameGrid& grid);
    /// Frames that are begun from now on are drawn to fit into so many pixels.
    void setRenderSize(CGSize pixels);

    /// Wants one frame, ends a run and overtakes everything. Returns the request's number.
    ///
    /// When requests come faster than frames can be made, now and then an overtaken one is carried through:
    /// else a long scrub would show nothing.
    std::uint64_t requestStill(std::int64_t index);
    /// Wants a frame of the newest request once more. If one is in work, it comes after that.
    void redrawStill(std::int64_t index);
    void cancelStill();
    [[nodiscard]] std::optional<Picture> takeStill();

    /// Makes frames from `next` on, ahead of `clock`, no more a second than screens show. Those that would be
    /// late are skipped.
    void run(std::function<CMTime()> clock, double rate, std::int64_t next);
    void setRate(double rate);
    void stopRun();
    /// Enough has been made ahead to begin with.
    [[nodiscard]] bool isReadyToRun() const;
    /// The newest frame that is due, if it wasn't taken before; older ones are dropped.
    [[nodiscard]] std::optional<Picture> takeDue(const CMTime& now);
    [[nodiscard]] std::optional<CMTime> nextDueTime() const;

    /// Why the item's frames can't be made, once.
    [[nodiscard]] std::exception_ptr takeFailure();
    /// Since the last `run`.
    [[nodiscard]] Counts counts() const;

private:
    struct State;
    struct Loaded;
    struct Job;

    void work();
    static void load(Loaded& loaded, const std::shared_ptr<const PlayerItem>& item);
    static void setSize(Loaded& loaded, CGSize pixels);
    void make(Loaded& loaded, const Job& job) const;
    [[nodiscard]] Job inTime(const Job& job, double secondsForAFrame) const;

    const std::shared_ptr<State> state_;  ///< requests share it, and may outlive this object
    std::thread thread_;
};

}  // namespace varnelle::detail
