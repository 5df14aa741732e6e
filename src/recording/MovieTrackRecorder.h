#pragma once

#include <QCoro/QCoroTask>
#include <optional>

#include "foundation/URL.h"
#include "media/AssetWriter.h"

namespace varnelle {

/// Whether samples come with the clock, so that a writer that falls behind refuses them instead of letting
/// them wait.
enum class MediaDataPace { realTime, asFastAsPossible };

/// Writes one QuickTime movie from samples that are timed already: a video track, then a system sound and a
/// microphone track if wanted. What was written stays readable if the program is killed. Creation, start and
/// finish are for the main thread, appending to the inputs for one thread between the two.
class MovieTrackRecorder {
public:
    /// Throws `MediaError` if the file can't be made, `RecordingError` (`writerFailed`) if a track can't.
    MovieTrackRecorder(const URL& outputURL, const VideoSettings& videoSettings,
                       const std::optional<AudioSettings>& systemAudioSettings,
                       const std::optional<AudioSettings>& microphoneSettings, MediaDataPace pace);

    /// Opens the file; times are counted from zero. Throws `RecordingError` (`writerFailed`).
    void start();
    /// Completes the movie, whose last picture lasts until `endTime`. Throws the writer's error.
    QCoro::Task<> finish(CMTime endTime);

    [[nodiscard]] const URL& outputURL() const { return outputURL_; }
    [[nodiscard]] AssetWriter& writer() { return writer_; }
    [[nodiscard]] AssetWriterInput* videoInput() const { return videoInput_; }
    /// Null without that track, as is the next.
    [[nodiscard]] AssetWriterInput* systemAudioInput() const { return systemAudioInput_; }
    [[nodiscard]] AssetWriterInput* microphoneAudioInput() const { return microphoneAudioInput_; }

private:
    URL outputURL_;
    AssetWriter writer_;
    AssetWriterInput* videoInput_ = nullptr;
    AssetWriterInput* systemAudioInput_ = nullptr;
    AssetWriterInput* microphoneAudioInput_ = nullptr;
};

/// The settings of a recorded picture: HEVC for live capture, BT.709.
VideoSettings recordingVideoSettings(int frameRate, std::int64_t bitRate, int widthPixels, int heightPixels);
AudioSettings recordingAudioSettings(int channelCount, std::int64_t bitRate);

}  // namespace varnelle
