#pragma once

#include <exception>
#include <functional>
#include <future>
#include <memory>
#include <optional>

#include "foundation/CMTime.h"
#include "foundation/URL.h"
#include "media/AssetReader.h"
#include "media/SampleBuffer.h"

namespace varnelle {

enum class FileType { quickTimeMovie, mpeg4 };

enum class VideoCodec { hevc, h264 };

/// What frames are encoded for: live capture keeps up with the clock whatever it costs in size; an export may
/// take its time for quality.
enum class EncodingPurpose { liveCapture, export_ };

struct VideoSettings {
    VideoCodec codec = VideoCodec::hevc;
    EncodingPurpose purpose = EncodingPurpose::export_;
    int width = 0;   ///< pixels, even
    int height = 0;  ///< pixels, even
    std::optional<std::int64_t>
        averageBitRate;  ///< bits per second; absent lets the encoder decide by quality
    int expectedSourceFrameRate = 60;
    bool allowsFrameReordering = false;
    ColorDescription color = ColorDescription::bt709Limited();
};

/// AAC settings.
struct AudioSettings {
    int sampleRate = 48000;
    int channelCount = 2;
    std::int64_t bitRate = 192000;
};

/// One track of a movie that is being written. Appending is for one thread at a time per input.
class AssetWriterInput {
public:
    virtual ~AssetWriterInput() = default;
    /// Room in the short queue in front of the encoder; false before the session starts and after
    /// `markAsFinished`. After a failure or a cancellation it is true and samples are refused, so that
    /// whoever feeds the input comes to its end.
    [[nodiscard]] virtual bool isReadyForMoreMediaData() const = 0;
    /// Queues a sample for encoding and returns at once; false (and the sample is lost) if there is no room,
    /// the time isn't later than that of the sample before it, the sample doesn't fit the settings, or the
    /// writer has failed. A frame of another size or of BGRA is converted on the encoder's thread.
    [[nodiscard]] virtual bool append(const SampleBuffer& sample) = 0;
    /// Calls `block` on the given queue whenever there is room, until `markAsFinished`. At most one call
    /// waits or runs. A block that returns without having appended anything is called again after the encoder
    /// has taken another sample. The queue must outlive the input or `markAsFinished`. Of several inputs that
    /// are fed this way, none has room while it is more than a second ahead of the slowest.
    virtual void requestMediaDataWhenReady(class SerialQueue& queue, std::function<void()> block) = 0;
    /// No more samples come. May be called more than once.
    virtual void markAsFinished() = 0;
};

/// Writes a movie: each input has an encoder on a thread of its own behind a short bounded queue.
///
/// A movie with `survivesTermination` is written in fragments to its final name while it grows, each flushed
/// within a second of its first sample, so that a process that is killed leaves a file that plays up to about
/// a second before; `finishWriting` turns it into a regular movie. Without it the movie is written beside its
/// destination and renamed over it at the end, so that nothing half-written ever stands under the final name.
class AssetWriter {
public:
    struct Options {
        bool optimizesForNetworkUse = false;  ///< index in front of the media
        bool survivesTermination = false;
        bool expectsMediaDataInRealTime = false;
    };

    /// Throws `MediaError` (`cannotWrite`) if the directory can't be written to.
    AssetWriter(const URL& url, FileType type, Options options);
    /// Cancels if it was neither finished nor cancelled.
    ~AssetWriter();
    AssetWriter(const AssetWriter&) = delete;
    AssetWriter& operator=(const AssetWriter&) = delete;

    /// Add inputs before the start; tracks stand in the file in this order. The pointers belong to the
    /// writer. Throws `MediaError`: `unsupportedSize` for a width or height beyond the encoder (or odd, or
    /// not positive), `cannotEncode` if no encoder works.
    AssetWriterInput* addVideoInput(const VideoSettings& settings);
    AssetWriterInput* addAudioInput(const AudioSettings& settings);

    /// Opens the file. False, with `error()` set, on failure.
    [[nodiscard]] bool startWriting();
    /// Sample times are counted from here; earlier ones are refused. Call it once, after the start.
    void startSession(CMTime sourceTime);
    /// Makes the last frame of each video track last until `sourceTime`. Optional, before finishing.
    void endSession(CMTime sourceTime);
    /// Ends all inputs, drains the encoders, completes the file and flushes it to disk; then calls
    /// `completion` once on a thread of the writer's own. Look at `status()` and `error()` there: a writer
    /// that had no samples fails.
    void finishWriting(std::function<void()> completion);
    /// Stops and removes the unfinished file; does nothing once the finished movie is in its place, which
    /// may be before the completion is called: `status()` tells. Doesn't wait for what finishing is at. Safe
    /// on any thread.
    void cancelWriting();

    [[nodiscard]] TransferStatus status() const;
    [[nodiscard]] std::exception_ptr error() const;
    /// Name of the encoder in use by the first video input, such as "libx265".
    [[nodiscard]] std::string videoEncoderName() const;

private:
    class Implementation;
    std::unique_ptr<Implementation> implementation_;
};

}  // namespace varnelle
