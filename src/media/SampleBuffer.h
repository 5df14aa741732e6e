#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <variant>
#include <vector>

#include "foundation/CMTime.h"
#include "media/VideoFrame.h"

namespace varnelle {

/// Interleaved 32-bit float sound: `frameCount` frames of `channelCount` samples each, full scale at -1
/// and 1.
struct PCMBlock {
    int sampleRate = 0;
    int channelCount = 0;
    std::shared_ptr<const std::vector<float>> samples;

    [[nodiscard]] std::size_t frameCount() const {
        return samples && channelCount > 0 ? samples->size() / static_cast<std::size_t>(channelCount) : 0;
    }
};

/// Whether a captured picture is a new, whole one.
enum class FrameStatus { complete, idle, blank, suspended };

/// What capture knows about a sample beyond its time.
struct SampleAttachments {
    std::optional<CMTime> displayTime;  ///< host time at which a screen picture was shown
    std::optional<FrameStatus> status;  ///< absent counts as complete
    bool notSync = false;               ///< can't be shown without the frames before it
};

/// A media sample that is handed from stage to stage: a retained picture or block of sound with its time.
/// Copying it shares the data.
struct SampleBuffer {
    std::variant<std::monostate, VideoFrame, PCMBlock> data;
    CMTime presentationTime;
    CMTime outputPresentationTime;  ///< time after any correction by the source; invalid if there is none
    CMTime duration;
    SampleAttachments attachments;

    [[nodiscard]] bool isValid() const;
    /// The picture, or null if the sample holds none.
    [[nodiscard]] const VideoFrame* image() const;
    [[nodiscard]] const PCMBlock* pcm() const { return std::get_if<PCMBlock>(&data); }
    /// The same data at another time.
    [[nodiscard]] SampleBuffer retimed(CMTime newPresentationTime) const;
};

}  // namespace varnelle
