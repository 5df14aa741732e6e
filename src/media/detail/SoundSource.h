#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <span>
#include <vector>

#include "media/MediaAsset.h"
#include "media/detail/MixFormat.h"
#include "media/detail/SoundResampler.h"
#include "media/detail/StreamDecoder.h"

namespace varnelle::detail {

/// The sound of one track of a movie in the form of the mix, by source time: sample n is what is heard at
/// n / kMixRate, after the encoder's priming and the container's edits. Where there is no sound, before the
/// first and behind the last sample or where it is damaged, there is silence.
///
/// Reading on where the last reading ended decodes everything once; any other place costs a seek and a tenth
/// of a second of decoding. For one thread at a time.
class SoundSource {
public:
    /// Opens the file and the decoder. Throws `MediaError` (`cannotOpen`, `cannotDecode`).
    SoundSource(std::shared_ptr<const MediaAsset> asset, const MediaTrack& track);

    /// Fills `output` (interleaved) with the sound from a place on. Throws `MediaError` (`cannotDecode`).
    void read(std::int64_t position, std::span<float> output);

    [[nodiscard]] bool isOf(const std::shared_ptr<const MediaAsset>& asset, const MediaTrack& track) const {
        return asset == asset_ && track.streamIndex == streamIndex_;
    }

private:
    void seek(std::int64_t position);
    void decodeMore();
    void endRun();

    const std::shared_ptr<const MediaAsset> asset_;
    const int streamIndex_;
    StreamDecoder decoder_;
    std::int64_t position_ = 0;  ///< where the last reading ended

    FramePtr pending_;  ///< decoded, but behind a gap or of another form than the run before it
    std::optional<SoundResampler> resampler_;  ///< of the run that is being decoded
    std::int64_t nextSample_ = 0;              ///< where the run goes on, in samples of the source
    std::vector<float> ready_;                 ///< decoded
    std::int64_t readyPosition_ = 0;           ///< of the first of them
    bool hasEnded_ = false;
};

}  // namespace varnelle::detail
