#include <fmt/format.h>

#include <memory>

#include "EncoderArguments.h"
#include "ExportScene.h"
#include "Measure.h"
#include "Program.h"
#include "export/ExportSettings.h"
#include "support/TemporaryDirectory.h"

namespace varnelle::bench {
namespace {

using Arguments = std::vector<std::string>;

constexpr double kTransitionSeconds = 0.85;

/// One size of the picture: the scene, how long it is and how often it is exported.
struct Workload {
    std::string size;
    int scale = 1;
    double seconds = 0;
    ExportPreset preset = ExportPreset::fullHD;
    std::vector<ZoomRange> zooms;
    int rounds = 1;
};

/// Exports of one workload by us and by the ffmpeg program. The scene is made when it is first needed.
class ExportComparison {
public:
    explicit ExportComparison(Workload workload) : workload_(std::move(workload)) {}

    [[nodiscard]] const Workload& workload() const { return workload_; }

    Usage ours() {
        return run({VARNELLE_EXPORT_PACKAGE, scene().package.string(), movie("ours").string(), "--preset",
                    std::string(info(workload_.preset).identifier)});
    }

    /// Decoded, brought to the size and the rate, encoded; as everywhere, with its sound.
    Usage transcode() {
        const CGSize canvas = scene().canvas;
        return ffmpeg({"-i", scene().movie.string()},
                      {"-vf", fmt::format("scale={}:{},fps=60", canvas.width, canvas.height)},
                      movie("transcode"));
    }

    /// What our encoder is given, decoded from our movie and encoded again: the share that isn't our own
    /// work.
    Usage encodeOurFrames() { return ffmpeg({"-i", movie("ours").string()}, {}, movie("again")); }

    /// The screen cut by a mask and laid on a picture of canvas and shadow, then zoomed. The pictures are
    /// decoded once. There is no cursor in it. `zoompan` crops before it scales, which is far less work than
    /// to scale the whole canvas and to crop then.
    Usage filterGraph() {
        const ExportScene& s = scene();
        const std::string still = "loop=loop=-1:size=1";
        const std::string graph = fmt::format(
            "[0:v]fps=60,scale={0}:{1}:flags=bilinear[screen];"
            "[2:v]format=gray,{6}[mask];[screen][mask]alphamerge=shortest=1[cut];"
            "[1:v]format=yuv420p,{6}[canvas];[canvas][cut]overlay={2}:{3}:shortest=1[composed];"
            "[composed]zoompan=z='{7}':d=1:fps=60:s={4}x{5}:"
            "x='(iw-iw/zoom)*(0.5+0.3*sin(in_time))':y='(ih-ih/zoom)*(0.5+0.2*cos(in_time))'",
            s.screenRect.width(), s.screenRect.height(), s.screenRect.minX(),
            s.canvas.height - s.screenRect.maxY(), s.canvas.width, s.canvas.height, still, zoomExpression());
        return ffmpeg({"-i", s.movie.string(), "-framerate", "60", "-i", s.background.string(), "-framerate",
                       "60", "-i", s.mask.string()},
                      {"-filter_complex", graph + "[v]", "-map", "[v]", "-map", "0:a", "-t",
                       fmt::format("{}", workload_.seconds)},
                      movie("graph"));
    }

private:
    const ExportScene& scene() {
        if (!scene_) {
            scene_ = makeExportScene(directory_.url(), workload_.scale, workload_.seconds, workload_.zooms);
        }
        return *scene_;
    }

    [[nodiscard]] URL movie(const std::string& name) const { return directory_.file(name + ".mp4"); }

    [[nodiscard]] Usage ffmpeg(const Arguments& inputs, const Arguments& filters, const URL& output) const {
        Arguments arguments{"ffmpeg", "-nostdin", "-y", "-loglevel", "error"};
        const auto add = [&arguments](const Arguments& more) {
            arguments.insert(arguments.end(), more.begin(), more.end());
        };
        add(inputs);
        add(filters);
        add({"-fps_mode", "cfr"});
        add(exportSoundArguments());
        add(exportEncoderArguments(*info(workload_.preset).bitRate));
        add({output.string()});
        return run(arguments);
    }

    /// 1 outside the ranges, 1.6 within, with our transition's length on both sides.
    [[nodiscard]] std::string zoomExpression() const {
        std::string expression = "1";
        for (const ZoomRange& zoom : workload_.zooms) {
            expression +=
                fmt::format("+0.6*(clip((in_time-{})/{},0,1)-clip((in_time-{})/{},0,1))", zoom.start,
                            kTransitionSeconds, zoom.end - kTransitionSeconds, kTransitionSeconds);
        }
        return expression;
    }

    Workload workload_;
    test::TemporaryDirectory directory_;
    std::optional<ExportScene> scene_;
};

using Export = Usage (ExportComparison::*)();

/// Both by turns: medians of the wall time, and of the processor time as a note.
Row compare(const std::string& name, ExportComparison& comparison, Export theirs,
            std::optional<double> target, int rounds) {
    std::vector<double> ourWall, theirWall, ourProcessor, theirProcessor;
    for (int i = 0; i < rounds; ++i) {
        const Usage a = comparison.ours();
        const Usage b = (comparison.*theirs)();
        ourWall.push_back(a.wallSeconds);
        theirWall.push_back(b.wallSeconds);
        ourProcessor.push_back(a.processorSeconds);
        theirProcessor.push_back(b.processorSeconds);
    }
    const double ours = median(ourProcessor);
    const double others = median(theirProcessor);
    return {name,
            median(ourWall),
            median(theirWall),
            "s",
            target,
            fmt::format("(processor {:.2f} / {:.2f} s, ratio {:.3f})", ours, others, ours / others)};
}

}  // namespace

std::vector<NamedRow> exportRows() {
    const std::vector<Workload> workloads{
        {"1080p", 1, 6, ExportPreset::fullHD, {{0.8, 2.8}, {3.6, 5.6}}, 2},
        {"2160p", 2, 2.5, ExportPreset::uhd4K, {{0.1, 1.2}, {1.3, 2.4}}, 1},
    };
    std::vector<NamedRow> rows;
    for (const Workload& workload : workloads) {
        // Rows of one size share the scene, which goes with the last of them.
        const auto comparison = std::make_shared<ExportComparison>(workload);
        const auto add = [&](const std::string& against, Export theirs, std::optional<double> target,
                             int rounds) {
            const std::string name = "export " + workload.size + " against " + against;
            rows.push_back({name, [=] { return compare(name, *comparison, theirs, target, rounds); }});
        };
        add("transcode", &ExportComparison::transcode, 1.15, workload.rounds);
        add("encoding alone", &ExportComparison::encodeOurFrames, std::nullopt, 1);
        add("filter graph", &ExportComparison::filterGraph, 0.5, std::max(1, workload.rounds - 1));
    }
    return rows;
}

}  // namespace varnelle::bench
