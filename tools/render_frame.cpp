#include "CommandLine.h"
#include "imaging/PNG.h"
#include "model/ProjectPackage.h"
#include "render/StillFrame.h"

namespace {

using namespace varnelle;

constexpr const char* kHelp = R"(render_frame PACKAGE SECONDS OUT.png

Renders the frame of a project at a moment of its timeline, as an export at the recording's size shows it.
)";

int renderFrame(const CommandLine& arguments) {
    const auto& values = arguments.positional();
    const ProjectEditorState state = readPackage(URL(values[0]));
    const Bitmap frame = renderStillFrame(state.currentProject, CommandLine::number(values[1], "seconds"));
    writePNG(frame.view(), URL(values[2]));
    return 0;
}

}  // namespace

int main(int argc, char** argv) {
    return varnelle::runTool(argc, argv, kHelp, 3, renderFrame);
}
