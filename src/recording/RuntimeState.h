#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>

#include "foundation/CMTime.h"
#include "media/SampleBuffer.h"

namespace varnelle {

/// The four media streams of a recording.
enum class StreamKind { screenVideo, cameraVideo, systemAudio, microphoneAudio };

inline constexpr std::array kStreamKinds = {StreamKind::screenVideo, StreamKind::cameraVideo,
                                            StreamKind::systemAudio, StreamKind::microphoneAudio};

/// One value for each stream.
template <typename Value>
class PerStream {
public:
    Value& operator[](StreamKind kind) { return values_.at(static_cast<std::size_t>(kind)); }
    const Value& operator[](StreamKind kind) const { return values_.at(static_cast<std::size_t>(kind)); }
    bool operator==(const PerStream&) const = default;

private:
    std::array<Value, kStreamKinds.size()> values_{};
};

enum class PipelinePhase { idle, warmingUp, recording, stopping };

/// Which streams a recording has to hear from before it starts.
struct StreamRequirements {
    bool requiresScreenVideo = true;
    bool requiresCameraVideo = false;
    bool requiresSystemAudio = false;
    bool requiresMicrophoneAudio = false;

    [[nodiscard]] bool requires_(StreamKind kind) const {
        const std::array<bool, 4> byKind{requiresScreenVideo, requiresCameraVideo, requiresSystemAudio,
                                         requiresMicrophoneAudio};
        return byKind.at(static_cast<std::size_t>(kind));
    }
};

struct BufferedSample {
    SampleBuffer sampleBuffer;
    CMTime hostTime;
};

/// What a running recording remembers.
struct RuntimeState {
    PipelinePhase phase = PipelinePhase::idle;
    std::optional<CMTime> timelineOriginHostTime;  ///< absent until the start barrier has passed
    PerStream<std::optional<BufferedSample>> latestWarmupSamples;
    PerStream<std::optional<CMTime>> lastWrittenHostTimes;
    int droppedCameraStartupFrames = 0;
};

/// How many samples of a stream reached its track, and how many were lost because the encoder had no room or
/// had failed.
struct StreamStatistics {
    std::uint64_t recordedFrames = 0;
    std::uint64_t droppedFrames = 0;
    bool operator==(const StreamStatistics&) const = default;
};

using RecordingStatistics = PerStream<StreamStatistics>;

}  // namespace varnelle
