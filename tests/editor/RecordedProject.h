#pragma once

#include <stdexcept>

#include "media/AssetWriter.h"
#include "support/MediaFixtures.h"
#include "support/SampleProject.h"
#include "support/SoundFixtures.h"

namespace varnelle::test {

/// A little recording in a directory, numbered pictures at 30 frames a second, with a track of system sound
/// and one of a microphone; and its fresh project.
inline Project recordProject(const URL& directory, int frameCount, bool hasSound = true) {
    RecordingSession session = sessionIn(directory);
    session.screenRecordingURL = directory.appending("screen" + std::to_string(frameCount) + ".mov");
    session.frameRate = 30;
    session.renderSize = {320, 180};
    if (hasSound)
        session.availableAudioSources = {RecordedAudioSource::system, RecordedAudioSource::microphone};
    AssetWriter writer(session.screenRecordingURL, FileType::quickTimeMovie, {});
    AssetWriterInput* video = writer.addVideoInput(smallVideo(320, 180));
    AssetWriterInput* system = hasSound ? writer.addAudioInput({48'000, 2, 128'000}) : nullptr;
    AssetWriterInput* microphone = hasSound ? writer.addAudioInput({48'000, 1, 96'000}) : nullptr;
    if (!writer.startWriting()) std::rethrow_exception(writer.error());
    writer.startSession(kCMTimeZero);
    for (int i = 0; i < frameCount; ++i) {
        if (!appendWaiting(*video, videoSample(numberedPicture(320, 180, i), CMTime::make(i, 30))))
            throw std::runtime_error("a frame was refused");
        if (!hasSound) continue;
        appendSound(*system, 48'000, 2, i / 30.0, (i + 1) / 30.0, tone(440, 0.3));
        appendSound(*microphone, 48'000, 1, i / 30.0, (i + 1) / 30.0, tone(700, 0.3));
    }
    writer.endSession(CMTime::make(frameCount, 30));
    if (finishAndWait(writer) != TransferStatus::completed) std::rethrow_exception(writer.error());
    Project project = Project::make(session, CMTime::make(frameCount, 30), OverlayConfiguration{});
    project.timeline.audioConfiguration = AudioConfiguration::including(session.availableAudioSources);
    project.timeline.overlayConfiguration.wallpaperPath = "procedural://gradient/mint";
    return project;
}

}  // namespace varnelle::test
