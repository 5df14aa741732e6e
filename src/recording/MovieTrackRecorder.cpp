#include "recording/MovieTrackRecorder.h"

#include "foundation/Log.h"
#include "media/MediaError.h"
#include "recording/RecordingError.h"
#include "tasks/Completion.h"

namespace varnelle {
namespace {

AssetWriter::Options writerOptions(MediaDataPace pace) {
    AssetWriter::Options options;
    options.survivesTermination = true;
    options.expectsMediaDataInRealTime = pace == MediaDataPace::realTime;
    return options;
}

/// Adds a track; a refusal becomes the recording's error with `message`, its reason goes to the log.
template <typename Add>
AssetWriterInput* addTrack(Add add, const std::string& message) {
    try {
        return add();
    } catch (const MediaError& error) {
        logger(LogCategory::recording).error("{} {}", message, error.what());
        throw RecordingError::writerFailed(message);
    }
}

std::string textOf(const std::exception_ptr& failure) {
    if (!failure) return "Unknown writer error.";
    try {
        std::rethrow_exception(failure);
    } catch (const std::exception& error) {
        return error.what();
    }
}

}  // namespace

VideoSettings recordingVideoSettings(int frameRate, std::int64_t bitRate, int widthPixels, int heightPixels) {
    VideoSettings settings;
    settings.codec = VideoCodec::hevc;
    settings.purpose = EncodingPurpose::liveCapture;
    settings.width = widthPixels;
    settings.height = heightPixels;
    settings.averageBitRate = bitRate;
    settings.expectedSourceFrameRate = frameRate;
    settings.color = ColorDescription::bt709Limited();
    return settings;
}

AudioSettings recordingAudioSettings(int channelCount, std::int64_t bitRate) {
    constexpr int sampleRate = 48000;
    return {sampleRate, channelCount, bitRate};
}

MovieTrackRecorder::MovieTrackRecorder(const URL& outputURL, const VideoSettings& videoSettings,
                                       const std::optional<AudioSettings>& systemAudioSettings,
                                       const std::optional<AudioSettings>& microphoneSettings,
                                       MediaDataPace pace)
    : outputURL_(outputURL), writer_(outputURL, FileType::quickTimeMovie, writerOptions(pace)) {
    videoInput_ = addTrack([&] { return writer_.addVideoInput(videoSettings); },
                           "Unable to add video track for " + outputURL.lastPathComponent() + ".");
    if (systemAudioSettings) {
        systemAudioInput_ = addTrack([&] { return writer_.addAudioInput(*systemAudioSettings); },
                                     "Unable to add system audio track.");
    }
    if (microphoneSettings) {
        microphoneAudioInput_ = addTrack([&] { return writer_.addAudioInput(*microphoneSettings); },
                                         "Unable to add microphone audio track.");
    }
}

void MovieTrackRecorder::start() {
    if (!writer_.startWriting()) throw RecordingError::writerFailed(textOf(writer_.error()));
    writer_.startSession(kCMTimeZero);
}

QCoro::Task<> MovieTrackRecorder::finish(CMTime endTime) {
    writer_.endSession(endTime);
    for (AssetWriterInput* input : {videoInput_, systemAudioInput_, microphoneAudioInput_}) {
        if (input != nullptr) input->markAsFinished();
    }
    const Completion<void> finished =
        completionOf([this](auto done) { writer_.finishWriting([done] { done(nullptr); }); });
    co_await finished;
    if (const std::exception_ptr failure = writer_.error()) std::rethrow_exception(failure);
}

}  // namespace varnelle
