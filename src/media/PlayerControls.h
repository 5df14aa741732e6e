#pragma once

#include <chrono>
#include <exception>
#include <functional>
#include <memory>

#include "foundation/CMTime.h"
#include "foundation/Geometry.h"
#include "media/AudioMix.h"
#include "media/Composition.h"
#include "media/VideoComposition.h"
#include "media/VideoFrame.h"

namespace varnelle {

/// Something to play: a composition, how its pictures become one, and how loud its tracks are at first. Each
/// item is a new one, even if its contents are those of another. Immutable.
struct PlayerItem {
    std::shared_ptr<const Composition> composition;
    VideoComposition videoComposition;
    AudioMix audioMix;
};

/// A composed frame on its way to the screen.
struct PlayerFrame {
    VideoFrame picture;  ///< BGRA, premultiplied
    CMTime time;         ///< of the composition
};

/// Plays one item after the other. Operations are for one thread and return at once; the end, which waits,
/// may be on any. Handlers are called one at a time on a thread of the player's; they may call nothing of the
/// player but `isPlaying` and `currentTime`, which are for any thread, and should be brief: while one runs,
/// no frame is shown.
class PlayerControls {
public:
    /// Told what happens. Any of them may be left empty.
    struct Handlers {
        std::function<void(const PlayerFrame&)> onFrame;  ///< to be shown now, in place of the one before
        std::function<void()> onStatusChange;             ///< `isPlaying` has changed
        /// An item has played to its end and is paused there.
        std::function<void(const std::shared_ptr<const PlayerItem>&)> onEnd;
        /// An item can't be played on; it is paused.
        std::function<void(const std::shared_ptr<const PlayerItem>&, std::exception_ptr)> onFailure;
        std::function<void(const CMTime&)> onTime;  ///< every `timeInterval` while it plays
        std::chrono::milliseconds timeInterval{50};
    };

    virtual ~PlayerControls() = default;

    /// Once, before anything else.
    virtual void setHandlers(Handlers handlers) = 0;
    /// Paused at zero; null takes away what was there. Seeks under way are cancelled.
    virtual void replaceCurrentItem(std::shared_ptr<const PlayerItem> item) = 0;
    /// Plays on from the present position, at the rate set last. At the end of the item it ends again.
    virtual void play() = 0;
    /// Stops, and shows exactly the frame of that moment.
    virtual void pause() = 0;
    /// From 0.5 to 8 (others are clamped), at once if it plays. The pitch stays.
    virtual void setRate(double rate) = 0;
    /// Goes to exactly that time, clamped to the item. `completion` hears true once its frame has been handed
    /// to `onFrame`, false if a newer seek, another item or `cancelPendingSeeks` came before that, or the
    /// frame can't be had.
    virtual void seek(const CMTime& time, std::function<void(bool isFinished)> completion) = 0;
    /// Gives up work on seeks; the position remains where they were to go.
    virtual void cancelPendingSeeks() = 0;
    /// Changes the volumes of what plays, without a jump.
    virtual void setAudioMix(const AudioMix& mix) = 0;
    /// Frames are drawn to fit into this many pixels, as long as that is no more than the item's render size;
    /// an empty size stands for the latter. The frame that is shown is drawn again.
    virtual void setRenderSize(CGSize pixels) = 0;
    /// Draws the frame that is shown again, for what the compositor reads live has changed. Calls while one
    /// is being drawn come to one more frame.
    virtual void redraw() = 0;

    /// It plays, or will as soon as a seek has ended.
    [[nodiscard]] virtual bool isPlaying() const = 0;
    /// Where a seek is under way, its target.
    [[nodiscard]] virtual CMTime currentTime() const = 0;
};

}  // namespace varnelle
