#pragma once

#include <cstdint>
#include <memory>

#include "media/AudioOutput.h"
#include "media/PlayerControls.h"

namespace varnelle {

/// Plays compositions: decodes, composes and hands out frames by the clock of an audio output, whose sound
/// they keep to. Frames that come too late are left out, never queued.
///
/// It has threads of its own for pictures, for sound, and for handing out; all of them have ended when it is
/// destroyed, which gives up whatever they do. A seek decodes from the key frame before at most; frames that
/// were decoded lately are kept, up to 256 MB of the screen's.
class Player final : public PlayerControls {
public:
    explicit Player(std::shared_ptr<AudioOutput> output);
    /// Seeks under way hear false before it returns; no handler is called afterwards.
    ~Player() override;
    Player(const Player&) = delete;
    Player& operator=(const Player&) = delete;

    void setHandlers(Handlers handlers) override;
    void replaceCurrentItem(std::shared_ptr<const PlayerItem> item) override;
    void play() override;
    void pause() override;
    void setRate(double rate) override;
    void seek(const CMTime& time, std::function<void(bool isFinished)> completion) override;
    void cancelPendingSeeks() override;
    void setAudioMix(const AudioMix& mix) override;
    void setRenderSize(CGSize pixels) override;
    void redraw() override;
    [[nodiscard]] bool isPlaying() const override;
    [[nodiscard]] CMTime currentTime() const override;

    /// How playing has gone since it began last.
    struct Statistics {
        std::int64_t framesShown = 0;
        std::int64_t framesDropped = 0;  ///< that should have been shown between them
    };
    [[nodiscard]] Statistics statistics() const;

private:
    class Implementation;
    std::unique_ptr<Implementation> implementation_;
};

}  // namespace varnelle
