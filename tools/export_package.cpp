#include <fmt/format.h>

#include <QCoreApplication>
#include <cstdio>

#include "CommandLine.h"
#include "export/ExportEngine.h"
#include "export/ExportSettings.h"
#include "foundation/Error.h"
#include "model/ProjectPackage.h"
#include "tasks/Await.h"

namespace {

using namespace varnelle;

constexpr const char* kHelp = R"(export_package PACKAGE OUT.mp4 [--preset NAME]

Exports a project as the program does. OUT.mp4 is replaced if it exists.

  --preset NAME   original (default), mac5K, uhd4K, qhd1440p, fullHD or hd720p
)";

ExportPreset presetNamed(const std::string& name) {
    for (const ExportPresetInfo& preset : exportPresets()) {
        if (preset.identifier == name) return preset.preset;
    }
    throw Error("There is no export preset “" + name + "”.");
}

int exportPackage(const CommandLine& arguments) {
    const URL output(arguments.positional()[1]);
    if (output.pathExtension() != "mp4")
        throw Error("The movie's name “" + output.string() + "” must end in .mp4.");
    ExportSettings settings;
    settings.preset = presetNamed(arguments.option("preset").value_or("original"));
    settings.outputDirectory = output.parent();
    settings.customFilename = output.stem();
    const Project project = readPackage(URL(arguments.positional()[0])).currentProject;

    ExportEngine engine;
    std::exception_ptr failure;
    await(engine.exportProject(
        project, settings,
        [](double progress) {
            fmt::print(stderr, "\r{:3.0f}%", progress * 100);
            std::fflush(stderr);
        },
        [&failure](ExportEngine::Result result) {
            if (auto* error = std::get_if<std::exception_ptr>(&result)) failure = *error;
        }));
    fmt::print(stderr, "\n");
    if (failure) std::rethrow_exception(failure);
    fmt::print("{}\n", output.string());
    return 0;
}

}  // namespace

int main(int argc, char** argv) {
    const QCoreApplication application(argc, argv);
    return varnelle::runTool(argc, argv, kHelp, 2, exportPackage);
}
