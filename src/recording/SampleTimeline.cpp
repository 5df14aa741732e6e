#include "recording/SampleTimeline.h"

#include "foundation/Log.h"

namespace varnelle {
namespace {

bool isVideo(StreamKind kind) {
    return kind == StreamKind::screenVideo || kind == StreamKind::cameraVideo;
}

bool isTime(const CMTime& time) {
    return time.isValid() && !time.isIndefinite();
}

const char* statusName(StreamKind kind) {
    switch (kind) {
        case StreamKind::screenVideo:
            return "screen";
        case StreamKind::cameraVideo:
            return "camera";
        case StreamKind::systemAudio:
            return "systemAudio";
        case StreamKind::microphoneAudio:
            return "microphone";
    }
    return "";
}

const char* appendFailure(StreamKind kind) {
    switch (kind) {
        case StreamKind::screenVideo:
            return "Failed to append screen video sample.";
        case StreamKind::cameraVideo:
            return "Failed to append camera video sample.";
        case StreamKind::systemAudio:
            return "Failed to append system audio sample.";
        case StreamKind::microphoneAudio:
            return "Failed to append microphone audio sample.";
    }
    return "";
}

}  // namespace

std::optional<CMTime> hostTimeOf(const SampleBuffer& sample, StreamKind kind) {
    if (kind == StreamKind::screenVideo && sample.attachments.displayTime)
        return sample.attachments.displayTime;
    if (isTime(sample.outputPresentationTime)) return sample.outputPresentationTime;
    if (isTime(sample.presentationTime)) return sample.presentationTime;
    return std::nullopt;
}

void SampleTimeline::reset(PipelinePhase phase) {
    state_ = {};
    state_.phase = phase;
    if (phase == PipelinePhase::warmingUp) statistics_ = {};
}

void SampleTimeline::handle(const SampleBuffer& sample, StreamKind kind) {
    const bool isListening =
        state_.phase == PipelinePhase::warmingUp || state_.phase == PipelinePhase::recording;
    if (!sample.isValid() || !isListening) return;
    const std::optional<CMTime> hostTime = hostTimeOf(sample, kind);
    if (!hostTime) return;
    if (kind == StreamKind::cameraVideo && !acceptCameraFrame(sample)) return;
    if (state_.phase == PipelinePhase::recording) {
        write(sample, kind, *hostTime);
    } else {
        state_.latestWarmupSamples[kind] = BufferedSample{sample, *hostTime};
    }
}

void SampleTimeline::goLive(CMTime origin, const StreamRequirements& requirements) {
    state_.phase = PipelinePhase::recording;
    state_.timelineOriginHostTime = origin;
    for (const StreamKind kind : kStreamKinds) {
        const std::optional<BufferedSample>& newest = state_.latestWarmupSamples[kind];
        if (!requirements.requires_(kind) || !newest || !isVideo(kind)) continue;
        if (append(newest->sampleBuffer, kind, kCMTimeZero))
            state_.lastWrittenHostTimes[kind] = newest->hostTime;
    }
    // The kept pictures have done their work; holding them would keep capture memory from being reused.
    state_.latestWarmupSamples = {};
}

bool SampleTimeline::haveAllDelivered(const StreamRequirements& requirements) const {
    for (const StreamKind kind : kStreamKinds) {
        if (requirements.requires_(kind) && !hasDelivered(kind)) return false;
    }
    return true;
}

std::string SampleTimeline::statusText(const StreamRequirements& requirements) const {
    std::string text;
    for (const StreamKind kind : kStreamKinds) {
        if (!requirements.requires_(kind)) continue;
        if (!text.empty()) text += ", ";
        text += std::string(statusName(kind)) + "=" + (hasDelivered(kind) ? "true" : "false");
    }
    return text;
}

bool SampleTimeline::acceptCameraFrame(const SampleBuffer& sample) {
    if (state_.droppedCameraStartupFrames < kCameraStartupDiscardFrames) {
        ++state_.droppedCameraStartupFrames;
        return false;
    }
    return sample.image() != nullptr && !sample.attachments.notSync;
}

void SampleTimeline::write(const SampleBuffer& sample, StreamKind kind, CMTime hostTime) {
    if (!state_.timelineOriginHostTime) return;
    std::optional<CMTime>& lastWritten = state_.lastWrittenHostTimes[kind];
    if (lastWritten && hostTime <= *lastWritten) return;
    const CMTime presentationTime = hostTime - *state_.timelineOriginHostTime;
    if (presentationTime < kCMTimeZero) return;
    // A sample that is lost doesn't move the mark.
    if (append(sample, kind, presentationTime)) lastWritten = hostTime;
}

bool SampleTimeline::append(const SampleBuffer& sample, StreamKind kind, CMTime presentationTime) {
    if (presentationTime < kCMTimeZero) return false;
    AssetWriterInput* const input = inputs_[kind];
    if (input == nullptr || !input->isReadyForMoreMediaData()) {
        ++statistics_[kind].droppedFrames;
        return false;
    }
    if (!input->append(sample.retimed(presentationTime))) {
        ++statistics_[kind].droppedFrames;
        logger(LogCategory::recording).error(appendFailure(kind));
        return false;
    }
    ++statistics_[kind].recordedFrames;
    return true;
}

}  // namespace varnelle
