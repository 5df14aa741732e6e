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
    const CompositionTrack* track = result.composition->track(result.videoTrackID);
    const CompositionSegment* segment = track->segment(time);
    if (segment == nullptr) throw VideoCompositorError::renderContextUnavailable();
    FrameSource source(segment->asset, segment->sourceTrack);
    const auto picture = source.frame(segment->sourceTime(time));
    if (!picture) throw VideoCompositorError::renderContextUnavailable();

    const auto instruction = std::dynamic_pointer_cast<const OverlayVideoCompositionInstruction>(
        result.videoComposition.instruction);
    const VideoFrame screen = orientedFrame(*picture, instruction->contents().screenTransform);
    const CGSize sourceSize{static_cast<double>(screen.width()), static_cast<double>(screen.height())};
    VideoRenderContext context(result.renderSize);
    // The plan is made for whole pixels, as the painter needs it.
    const Bitmap output(static_cast<int>(context.size().width), static_cast<int>(context.size().height));
    FramePainter painter;
    painter.paint(planFrame(*instruction, time, sourceSize, context.size()), screen, output.view());
    writePNG(output.view(), URL(values[2]));
    return 0;
}

}  // namespace

int main(int argc, char** argv) {
    return varnelle::runTool(argc, argv, kHelp, 3, renderFrame);
}
