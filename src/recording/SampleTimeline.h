#pragma once

#include <optional>
#include <string>

#include "media/AssetWriter.h"
#include "recording/RuntimeState.h"

namespace varnelle {

/// The time model of a recording: decides for each sample of each stream whether it is kept back, written and
/// at which time, or dropped.
///
/// Streams carry host times. While warming up, the newest sample of each is kept; going live sets the origin
/// and writes the kept pictures at exactly zero; from then on a sample is written at its host time minus the
/// origin, if that isn't negative and the host time is later than that of the stream's last written sample.
/// For one thread at a time; it never waits.
class SampleTimeline {
public:
    /// Frames that a camera delivers while its exposure settles.
    static constexpr int kCameraStartupDiscardFrames = 3;

    /// Where a stream's samples go; null loses them. The inputs must live until the phase has left
    /// `recording`.
    void setInput(StreamKind kind, AssetWriterInput* input) { inputs_[kind] = input; }
    /// Forgets everything (the statistics only when warming up begins) and enters a phase.
    void reset(PipelinePhase phase);
    void handle(const SampleBuffer& sample, StreamKind kind);
    /// Enters `recording` and writes the newest picture of each required video stream at zero.
    void goLive(CMTime origin, const StreamRequirements& requirements);
    /// From here on samples are dropped.
    void beginStopping() { state_.phase = PipelinePhase::stopping; }

    [[nodiscard]] bool haveAllDelivered(const StreamRequirements& requirements) const;
    [[nodiscard]] bool hasDelivered(StreamKind kind) const {
        return state_.latestWarmupSamples[kind].has_value();
    }
    /// Which of the required streams have delivered, such as "screen=true, camera=false".
    [[nodiscard]] std::string statusText(const StreamRequirements& requirements) const;
    [[nodiscard]] const RuntimeState& state() const { return state_; }
    [[nodiscard]] const RecordingStatistics& statistics() const { return statistics_; }

private:
    [[nodiscard]] bool acceptCameraFrame(const SampleBuffer& sample);
    void write(const SampleBuffer& sample, StreamKind kind, CMTime hostTime);
    [[nodiscard]] bool append(const SampleBuffer& sample, StreamKind kind, CMTime presentationTime);

    RuntimeState state_;
    RecordingStatistics statistics_;
    PerStream<AssetWriterInput*> inputs_;
};

/// The host time of a sample: a screen picture's display time first, then the output presentation time, then
/// the presentation time; absent if none of them is a time.
std::optional<CMTime> hostTimeOf(const SampleBuffer& sample, StreamKind kind);

}  // namespace varnelle
