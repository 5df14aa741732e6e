#include <iostream>

#include "CommandLine.h"
#include "imaging/PNG.h"
#include "media/FrameSource.h"
#include "model/ProjectPackage.h"
#include "render/CustomVideoCompositor.h"
#include "render/FramePainter.h"
#include "render/OrientedFrame.h"
#include "render/VideoCompositor.h"
#include "render/VideoCompositorError.h"

namespace {

using namespace varnelle;

constexpr const char* kHelp = R"(render_frame PACKAGE SECONDS OUT.png

Renders the frame of a project at a moment of its timeline, as an export at the recording's size shows it.
)";

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

int renderFrame(const CommandLine& arguments) {
    const auto& values = arguments.positional();
    const double seconds = CommandLine::number(values[1], "seconds");
    const ProjectEditorState state = readPackage(URL(values[0]));
    const CompositionResult result = VideoCompositor::buildComposition(state.currentProject);
    const CMTime time = timeFromSeconds(seconds);
    if (seconds < 0 || time >= result.duration) {
        throw Error("The project lasts " + std::to_string(result.duration.seconds()) +
                    " seconds; there is no frame at " + values[1] + ".");
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
    const Bitmap output(static_cast<int>(context.size().width), static_cast<int>(context.size().height));
    FramePainter painter;
    const FramePlan plan = planFrame(*instruction, time, sourceSize, context.size(), camera.has_value());
    painter.paint(plan, *screen, camera.value_or(VideoFrame()), output.view());
    writePNG(output.view(), URL(values[2]));
    return 0;
}

}  // namespace

int main(int argc, char** argv) {
    return varnelle::runTool(argc, argv, kHelp, 3, renderFrame);
}
