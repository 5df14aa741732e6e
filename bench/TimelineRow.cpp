#include <fmt/format.h>

#include <QGuiApplication>
#include <QQmlEngine>
#include <QQuickView>
#include <algorithm>
#include <chrono>
#include <functional>

#include "Measure.h"
#include "editor/TimelineModel.h"
#include "support/SampleProject.h"
#include "ui/QmlModules.h"

// Written by Qt's type registrar.
void qml_register_types_Varnelle_Editor();

namespace varnelle::bench {
namespace {

constexpr int kClipCount = 500;
constexpr int kZoomPanClipCount = 200;
constexpr double kClipSeconds = 2.4;
constexpr int kSteps = 120;
constexpr double kFrameMilliseconds = 1000.0 / 60;

void fill(TimelineModel& timeline) {
    const double seconds = kClipCount * kClipSeconds;
    Project project = test::projectIn(URL("/var/tmp/Varnelle/Sessions/recording_1"), seconds);
    const URL source = project.recordingSession.screenRecordingURL;
    std::vector<TimelineClip> clips;
    clips.reserve(kClipCount);
    for (int i = 0; i < kClipCount; ++i) {
        clips.push_back({UUID::random(), source, test::rangeOfSeconds(kClipSeconds * i, kClipSeconds),
                         timeFromSeconds(kClipSeconds * i)});
    }
    project.timeline.tracks.mutableElements()[0].clips = std::move(clips);
    std::vector<TimelineZoomPanClip> zooms;
    zooms.reserve(kZoomPanClipCount);
    for (int i = 0; i < kZoomPanClipCount; ++i) {
        zooms.push_back({UUID::random(), test::rangeOfSeconds(6.0 * i, 2.5)});
    }
    timeline.setAssetDurations({{source, timeFromSeconds(seconds)}});
    timeline.setProject(project);
    timeline.setZoomPanClips(zooms);
    timeline.setDuration(timeFromSeconds(seconds));
}

/// Milliseconds of a change of the model and of drawing what came of it.
Row measureSteps(const std::string& name, const std::function<void(TimelineModel&, int)>& step) {
    // The Qt application of one row may not be there for the next one.
    qputenv("QT_QPA_PLATFORM", "offscreen");
    qputenv("QT_QUICK_BACKEND", "software");
    qputenv("QT_SCALE_FACTOR", "2");
    int argumentCount = 1;
    std::string program = "varnelle_bench";
    char* arguments[] = {program.data(), nullptr};
    const QGuiApplication application(argumentCount, arguments);
    TimelineModel timeline;
    fill(timeline);
    QQmlEngine engine;
    prepareQmlEngine(engine);
    keepQmlTypes(&qml_register_types_Varnelle_Editor);
    QQuickView view(&engine, nullptr);
    view.setResizeMode(QQuickView::SizeRootObjectToView);
    view.setInitialProperties({{"model", QVariant::fromValue(&timeline)}});
    view.setSource(QUrl("qrc:/qt/qml/Varnelle/Editor/TimelineView.qml"));
    view.resize(1100, 204);
    view.show();
    QCoreApplication::processEvents();
    std::vector<double> modelMilliseconds;
    std::vector<double> milliseconds;
    for (int i = 0; i < kSteps; ++i) {
        using Clock = std::chrono::steady_clock;
        const auto since = [](Clock::time_point start) {
            return std::chrono::duration<double, std::milli>(Clock::now() - start).count();
        };
        const auto start = Clock::now();
        step(timeline, i);
        modelMilliseconds.push_back(since(start));
        if (view.grabWindow().isNull()) throw std::runtime_error("nothing was drawn");
        milliseconds.push_back(since(start));
    }
    return {name,
            median(milliseconds),
            kFrameMilliseconds,
            "ms",
            0.5,
            fmt::format("of it {:.2f} ms without drawing, slowest {:.1f} ms", median(modelMilliseconds),
                        *std::max_element(milliseconds.begin(), milliseconds.end()))};
}

}  // namespace

std::vector<NamedRow> timelineRows() {
    const std::string scrolling = "scrolling a timeline of 700 clips";
    const std::string zooming = "zooming a timeline of 700 clips";
    return {{scrolling,
             [=] {
                 return measureSteps(scrolling, [](TimelineModel& timeline, int) { timeline.scrollBy(60); });
             }},
            {zooming, [=] {
                 return measureSteps(zooming, [](TimelineModel& timeline, int i) {
                     timeline.zoomByScroll(i % 40 < 20 ? 15 : -15, 550);
                 });
             }}};
}

}  // namespace varnelle::bench
