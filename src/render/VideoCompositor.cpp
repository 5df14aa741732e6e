#include "render/VideoCompositor.h"

#include <algorithm>
#include <cmath>
#include <map>

#include "camera/AutoZoomRanges.h"
#include "camera/CursorRecordingFile.h"
#include "foundation/Log.h"
#include "media/MediaAsset.h"
#include "media/MediaError.h"
#include "render/CustomVideoCompositor.h"
#include "render/VideoCompositorError.h"

namespace varnelle {
namespace {

using Asset = std::shared_ptr<const MediaAsset>;
using Segment = TimelineSourceTimeMapper::Segment;

constexpr int kLowestFrameRate = 30;

struct CameraSource {
    Asset asset;
    MediaTrack track;
    CompositionTrack* compositionTrack = nullptr;
};

/// Size of a track's picture after its preferred transform; the fallback if a side is zero.
CGSize orientedSize(const MediaTrack& track, CGSize fallback) {
    const CGRect oriented = track.preferredTransform.apply(CGRect{{0, 0}, track.naturalSize});
    const CGSize size{std::abs(oriented.width()), std::abs(oriented.height())};
    return size.width > 0 && size.height > 0 ? size : fallback;
}

/// Collects what the clips of a timeline add up to.
class Builder {
public:
    explicit Builder(const Project& project)
        : composition_(std::make_shared<Composition>()),
          videoTrack_(composition_->addTrack(MediaType::video)),
          size_(project.recordingSession.renderSize),
          rate_(std::max(project.recordingSession.frameRate, kLowestFrameRate)) {
        if (project.recordingSession.cameraRecordingURL)
            openCamera(*project.recordingSession.cameraRecordingURL);
    }

    void append(const TimelineClip& clip) {
        // Compared in exact arithmetic: offsets lie on the same grid of 1/600 s as the limit.
        const double distance = clampedSeconds(clip.timelineOffset) - clampedSeconds(cursor_);
        if (std::abs(distance) > 1.0 / 600 + 1e-9) throw VideoCompositorError::inconsistentTimelineOffsets();

        const Asset asset = openAsset(clip.sourceURL);
        const CMTimeRange range = resolvedRange(clip, asset->duration());
        if (!(range.duration > kCMTimeZero)) return;
        const auto videoTracks = asset->tracks(MediaType::video);
        if (videoTracks.empty()) throw VideoCompositorError::missingVideoTrack(clip.sourceURL);
        adoptFormat(videoTracks.front());

        videoTrack_.insertTimeRange(range, asset, videoTracks.front(), cursor_);
        segments_.push_back({clampedSeconds(cursor_),
                             clampedSeconds(cursor_) + clampedSeconds(range.duration),
                             clampedSeconds(range.start)});
        appendAudio(asset, range);
        appendCamera(clip, range);
        cursor_ = cursor_ + range.duration;
    }

    [[nodiscard]] std::shared_ptr<Composition> composition() const { return composition_; }
    [[nodiscard]] const CompositionTrack& videoTrack() const { return videoTrack_; }
    [[nodiscard]] const std::optional<CameraSource>& camera() const { return camera_; }
    [[nodiscard]] const std::vector<CompositionTrack*>& audioTracks() const { return audioTracks_; }
    [[nodiscard]] const std::vector<Segment>& segments() const { return segments_; }
    [[nodiscard]] CMTime duration() const { return cursor_; }
    [[nodiscard]] CGSize size() const { return size_; }
    [[nodiscard]] int rate() const { return rate_; }
    [[nodiscard]] CGAffineTransform screenTransform() const { return screenTransform_; }

private:
    Asset openAsset(const URL& url) {
        Asset& asset = assets_[url];
        if (!asset) asset = std::make_shared<MediaAsset>(url);
        return asset;
    }

    /// A camera that delivered nothing is no camera; a movie that can't be read is an error.
    void openCamera(const URL& url) {
        Asset asset;
        try {
            asset = openAsset(url);
        } catch (const MediaError& error) {
            if (error.code() != MediaError::Code::nothingRecorded) throw;
            logger(LogCategory::app).info("Composing without the camera: {}", error.what());
            return;
        }
        const auto tracks = asset->tracks(MediaType::video);
        if (tracks.empty() || tracks.front().sampleIndex->empty()) return;
        camera_ = CameraSource{asset, tracks.front(), &composition_->addTrack(MediaType::video)};
    }

    /// The first turned source decides the orientation, the last upright one the rate.
    void adoptFormat(const MediaTrack& track) {
        if (!screenTransform_.isIdentity()) return;
        screenTransform_ = track.preferredTransform;
        if (size_.width <= 1 || size_.height <= 1) size_ = orientedSize(track, size_);
        if (track.nominalFrameRate > 0) rate_ = static_cast<int>(std::lround(track.nominalFrameRate));
    }

    void appendAudio(const Asset& asset, const CMTimeRange& range) {
        const auto tracks = asset->tracks(MediaType::audio);
        for (std::size_t i = 0; i < tracks.size(); ++i) {
            if (audioTracks_.size() <= i) audioTracks_.push_back(&composition_->addTrack(MediaType::audio));
            audioTracks_[i]->insertTimeRange(range, asset, tracks[i], cursor_);
        }
    }

    /// A camera movie that ends before the screen is stretched to fit rather than leaving a hole.
    void appendCamera(const TimelineClip& clip, const CMTimeRange& range) {
        if (!camera_) return;
        const CMTimeRange cameraRange = resolvedRange(clip, camera_->asset->duration());
        const CMTime length = std::min(cameraRange.duration, range.duration);
        if (!(length > kCMTimeZero)) return;
        camera_->compositionTrack->insertTimeRange({cameraRange.start, length}, camera_->asset,
                                                   camera_->track, cursor_);
        if (length < range.duration)
            camera_->compositionTrack->scaleTimeRange({cursor_, length}, range.duration);
    }

    std::shared_ptr<Composition> composition_;
    CompositionTrack& videoTrack_;
    std::optional<CameraSource> camera_;
    std::vector<CompositionTrack*> audioTracks_;
    std::map<URL, Asset> assets_;
    std::vector<Segment> segments_;
    CMTime cursor_ = kCMTimeZero;
    CGSize size_;
    int rate_;
    CGAffineTransform screenTransform_;
};

std::shared_ptr<const CursorRecording> loadTelemetry(const RecordingSession& session) {
    if (!session.cursorRecordingURL) return nullptr;
    try {
        return std::make_shared<CursorRecording>(readCursorRecording(*session.cursorRecordingURL));
    } catch (const std::exception& error) {
        logger(LogCategory::app).info("Composing without telemetry: {}", error.what());
        return nullptr;
    }
}

std::vector<CMTimeRange> zoomPanRanges(const Timeline& timeline) {
    std::vector<CMTimeRange> ranges;
    for (const TimelineZoomPanClip& clip : timeline.zoomPanClips) ranges.push_back(clip.timeRange);
    return ranges;
}

}  // namespace

CompositionResult VideoCompositor::buildComposition(const Project& project,
                                                    const std::optional<CGSize>& renderSize,
                                                    const std::optional<int>& frameRate) {
    const TimelineTrack* track = project.videoTrack();
    if (track == nullptr || track->clips.empty()) throw VideoCompositorError::noVideoClips();
    Builder builder(project);
    for (const TimelineClip& clip : track->clips) builder.append(clip);
    if (!(builder.duration() > kCMTimeZero)) throw VideoCompositorError::noVideoClips();

    CompositionResult result;
    result.composition = builder.composition();
    result.duration = builder.duration();
    result.renderSize = renderSize.value_or(builder.size());
    result.frameRate = std::max(frameRate.value_or(builder.rate()), kLowestFrameRate);
    result.videoTrackID = builder.videoTrack().trackID();
    if (builder.camera()) result.cameraTrackID = builder.camera()->compositionTrack->trackID();
    for (const CompositionTrack* audio : builder.audioTracks())
        result.audioTrackIDs.push_back(audio->trackID());
    result.overlayController =
        std::make_shared<OverlayConfigurationController>(project.timeline.overlayConfiguration);
    result.zoomPanClipsController = std::make_shared<ZoomPanClipsController>(zoomPanRanges(project.timeline));

    OverlayVideoCompositionInstruction::Contents contents;
    contents.timeRange = {kCMTimeZero, result.duration};
    contents.screenTrackID = result.videoTrackID;
    contents.cameraTrackID = result.cameraTrackID;
    contents.screenTransform = builder.screenTransform();
    if (builder.camera()) contents.cameraTransform = builder.camera()->track.preferredTransform;
    contents.overlayController = result.overlayController;
    contents.zoomPanClipsController = result.zoomPanClipsController;
    contents.sourceTimeMapper = TimelineSourceTimeMapper(builder.segments());
    contents.cursorRecording = loadTelemetry(project.recordingSession);
    if (contents.cursorRecording) {
        contents.smoothingCamera = std::make_shared<SmoothingCamera>(
            SmoothingCamera::buildSamples(*contents.cursorRecording, kCameraFrameRate, kCameraWindowSeconds));
        result.autoZoomAndPanActiveRanges =
            autoZoomAndPanRanges(*contents.cursorRecording, contents.sourceTimeMapper.segments(),
                                 contents.smoothingCamera.get(), result.duration);
    }

    VideoComposition& video = result.videoComposition;
    video.makeCompositor = [] { return std::make_shared<CustomVideoCompositor>(); };
    video.instruction = std::make_shared<OverlayVideoCompositionInstruction>(std::move(contents));
    video.renderSize = result.renderSize;
    video.frameDuration = CMTime::make(1, result.frameRate);
    return result;
}

}  // namespace varnelle
