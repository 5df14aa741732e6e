#include "render/StillFrame.h"

#include <fmt/format.h>

#include <memory>

#include "foundation/Error.h"
#include "media/FrameSource.h"
#include "render/CustomVideoCompositor.h"
#include "render/FramePainter.h"
#include "render/OrientedFrame.h"
#include "render/VideoCompositor.h"
#include "render/VideoCompositorError.h"

namespace varnelle {
namespace {

/// The upright picture of a track at a moment of the timeline, if there is one.
std::optional<VideoFrame> pictureAt(const CompositionTrack& track, const CMTime& time,
                                    const CGAffineTransform& transform) {
    const CompositionSegment* segment = track.segment(time);
    if (segment == nullptr) return std::nullopt;
    FrameSource source(segment->asset, segment->sourceTrack);
    const auto picture = source.frame(segment->sourceTime(time));
    if (!picture) return std::nullopt;
    return orientedFrame(*picture, transform);
}

}  // namespace

Bitmap renderStillFrame(const Project& project, double seconds) {
    const CompositionResult result = VideoCompositor::buildComposition(project);
    const CMTime time = timeFromSeconds(seconds);
    if (seconds < 0 || time >= result.duration) {
        throw Error(fmt::format("The project lasts {} seconds; there is no frame at {}.",
                                result.duration.seconds(), seconds));
    }
    const auto instruction = std::dynamic_pointer_cast<const OverlayVideoCompositionInstruction>(
        result.videoComposition.instruction);
    const auto& contents = instruction->contents();
    const auto screen =
        pictureAt(*result.composition->track(result.videoTrackID), time, contents.screenTransform);
    if (!screen) throw VideoCompositorError::renderContextUnavailable();
    std::optional<VideoFrame> camera;
    if (result.cameraTrackID)
        camera = pictureAt(*result.composition->track(*result.cameraTrackID), time, contents.cameraTransform);
    const CGSize sourceSize{static_cast<double>(screen->width()), static_cast<double>(screen->height())};
    VideoRenderContext context(result.renderSize);
    // The plan is made for whole pixels, as the painter needs it.
    Bitmap output(static_cast<int>(context.size().width), static_cast<int>(context.size().height));
    FramePainter painter;
    const FramePlan plan = planFrame(*instruction, time, sourceSize, context.size(), camera.has_value());
    painter.paint(plan, *screen, camera.value_or(VideoFrame()), output.view());
    return output;
}

}  // namespace varnelle
