#include <gtest/gtest.h>

#include <QCoro/QCoroTimer>
#include <cmath>
#include <cstdlib>

#include "export/ExportEngine.h"
#include "media/FrameSource.h"
#include "media/MediaAsset.h"
#include "model/ProjectPackage.h"
#include "platform/linux/LinuxDesktop.h"
#include "recording/RecordingCoordinator.h"
#include "render/VideoCompositor.h"
#include "support/PatternWindow.h"
#include "support/SampleProject.h"
#include "support/TemporaryDirectory.h"
#include "support/XServer.h"
#include "tasks/Await.h"

namespace varnelle {
namespace {

using namespace std::chrono_literals;
using test::PatternWindow;
using test::XServer;

constexpr int kWidth = 640;
constexpr int kHeight = 480;
constexpr int kCell = 80;
constexpr CGPoint kPointer{200, 120};  // screen points, y downwards

/// The colours of a decoded picture, from its limited-range BT.709 planes.
class DecodedFrame {
public:
    explicit DecodedFrame(VideoFrame frame) : frame_(std::move(frame)) {}

    /// Red, green and blue at a canvas pixel, y counted from the bottom.
    [[nodiscard]] std::array<double, 3> colorAt(double x, double y) const {
        const int column = static_cast<int>(x);
        const int row = frame_.height() - 1 - static_cast<int>(y);
        const auto value = [&](std::size_t plane, int px, int py) {
            return static_cast<double>(frame_.plane(plane).data[py * frame_.plane(plane).bytesPerRow + px]);
        };
        const double luma = (value(0, column, row) - 16) * 255 / 219;
        const double u = (value(1, column / 2, row / 2) - 128) * 255 / 224;
        const double v = (value(2, column / 2, row / 2) - 128) * 255 / 224;
        return {luma + 1.5748 * v, luma - 0.1873 * u - 0.4681 * v, luma + 1.8556 * u};
    }
    [[nodiscard]] double lightnessAt(double x, double y) const {
        const auto color = colorAt(x, y);
        return (color[0] + color[1] + color[2]) / 3;
    }

private:
    VideoFrame frame_;
};

/// Where a point of the recorded screen (y downwards) lands on the canvas (y upwards).
CGPoint onCanvas(const CGRect& screenRect, CGPoint screenPoint) {
    return {screenRect.minX() + screenPoint.x / kWidth * screenRect.width(),
            screenRect.minY() + (1 - screenPoint.y / kHeight) * screenRect.height()};
}

class RecordToMovie : public testing::Test {
protected:
    void SetUp() override {
        if (!XServer::isAvailable()) GTEST_SKIP() << XServer::kMissing;
    }

    /// Records a pattern of cells, white around the pointer, for some seconds.
    RecordingSession record(std::chrono::milliseconds length) {
        XServer server(kWidth, kHeight);
        PatternWindow window(server.displayName(), 0, 0, kWidth, kHeight);
        window.fillCells(kCell, 1);
        window.fill(160, 80, 160, 160, 0xFFFFFF);
        test::PointerRobot robot(server.displayName());
        robot.moveTo(static_cast<int>(kPointer.x), static_cast<int>(kPointer.y));
        LinuxDesktop desktop(server.displayName());
        RecordingCoordinator coordinator(desktop, directory_.url());
        return await(recordWith(coordinator, desktop, length));
    }

    static QCoro::Task<RecordingSession> recordWith(RecordingCoordinator& coordinator, LinuxDesktop& desktop,
                                                    std::chrono::milliseconds length) {
        RecordingConfiguration configuration;
        configuration.source =
            RecordingConfiguration::DisplaySource{desktop.shareableContent({}).displays.front()};
        co_await coordinator.prepareRecording(configuration);
        co_await coordinator.startRecording();
        co_await QCoro::sleepFor(length);
        co_return co_await coordinator.stopRecording();
    }

    URL exported(const Project& project) {
        ExportSettings settings;
        settings.outputDirectory = directory_.url();
        settings.customFilename = "movie";
        ExportEngine engine;
        ExportEngine::Result result;
        await(engine.exportProject(
            project, settings, [](double) {}, [&result](ExportEngine::Result r) { result = std::move(r); }));
        if (auto* error = std::get_if<std::exception_ptr>(&result)) std::rethrow_exception(*error);
        return std::get<URL>(result);
    }

    static DecodedFrame frameAt(const std::shared_ptr<const MediaAsset>& movie, double seconds) {
        FrameSource source(movie, movie->tracks(MediaType::video).front());
        return DecodedFrame(*source.frame(timeFromSeconds(seconds)));
    }

    /// Every cell that shows whole on the canvas, away from the pointer, is where the screen rectangle says.
    static void expectCells(const DecodedFrame& frame, const CGRect& screenRect, const std::string& when) {
        int seen = 0;
        for (int y = kCell / 2; y < kHeight; y += kCell) {
            for (int x = kCell / 2; x < kWidth; x += kCell) {
                if (x > 160 && x < 320 && y > 80 && y < 240) continue;
                const CGPoint center = onCanvas(screenRect, {static_cast<double>(x), static_cast<double>(y)});
                // Near enough to the middle that the rounded corners leave it alone.
                const CGPoint reach{0.25 * kCell * screenRect.width() / kWidth,
                                    0.25 * kCell * screenRect.height() / kHeight};
                for (const double dx : {-reach.x, 0.0, reach.x}) {
                    for (const double dy : {-reach.y, 0.0, reach.y}) {
                        const CGPoint at{center.x + dx, center.y + dy};
                        if (at.x < 30 || at.y < 30 || at.x > kWidth - 30 || at.y > kHeight - 30) continue;
                        const auto color = frame.colorAt(at.x, at.y);
                        const std::uint32_t expected = PatternWindow::cellColor(x, y, kCell, 1);
                        EXPECT_NEAR(color[0], (expected >> 16) & 255U, 14)
                            << when << " red at " << x << ", " << y;
                        EXPECT_NEAR(color[1], (expected >> 8) & 255U, 14)
                            << when << " green at " << x << ", " << y;
                        EXPECT_NEAR(color[2], expected & 255U, 14) << when << " blue at " << x << ", " << y;
                        ++seen;
                    }
                }
            }
        }
        EXPECT_GT(seen, 60) << when;
    }

    /// The dark arrow stands with its tip on the pointer's place and is as large as the look says.
    static void expectPointer(const DecodedFrame& frame, const CGRect& screenRect, const std::string& when) {
        const CGPoint tip = onCanvas(screenRect, kPointer);
        const double pixelsPerPoint = 3.2 * screenRect.width() / kWidth;
        // Down the arrow's straight left edge, one point inside it: dark for the 16 points or so that it is
        // long.
        const double column = tip.x + 1.2 * pixelsPerPoint;
        double first = -1;
        double last = -1;
        for (double y = tip.y + 12 * pixelsPerPoint; y > tip.y - 30 * pixelsPerPoint && y >= 0; --y) {
            if (frame.lightnessAt(column, y) > 110) continue;
            if (first < 0) first = y;
            last = y;
        }
        ASSERT_GE(first, 0) << when << ": no arrow";
        EXPECT_NEAR(first, tip.y - 1.2 * pixelsPerPoint, 2 + 0.3 * pixelsPerPoint) << when;
        EXPECT_NEAR(first - last, 14.8 * pixelsPerPoint, 2 + 0.6 * pixelsPerPoint) << when;
        EXPECT_GT(frame.lightnessAt(tip.x - 3 * pixelsPerPoint, tip.y - 5 * pixelsPerPoint), 200)
            << when << ": nothing left of the arrow";
    }

    test::TemporaryDirectory directory_;
};

TEST_F(RecordToMovie, CellsAndPointerAreWhereTheArithmeticPutsThem) {
    const auto begin = std::chrono::steady_clock::now();
    const RecordingSession session = record(4500ms);
    const std::chrono::duration<double> elapsed = std::chrono::steady_clock::now() - begin;
    const auto recording = std::make_shared<MediaAsset>(session.screenRecordingURL);
    EXPECT_EQ(recording->tracks(MediaType::video).front().sampleIndex->front().presentationTime, kCMTimeZero);
    EXPECT_LT(recording->tracks(MediaType::video).front().sampleIndex->size(), 20U) << "nothing moved";
    // The timer may come a twentieth too early.
    EXPECT_GE(recording->duration().seconds(), 4.2) << "the movie lasts until the stop";
    EXPECT_LT(recording->duration().seconds(), elapsed.count());

    OverlayConfiguration look;
    look.wallpaperPath = "procedural://gradient/glacier";
    ProjectEditorState state;
    state.currentProject = Project::make(session, recording->duration(), look);
    state.currentProject.timeline.zoomPanClips = {
        TimelineZoomPanClip{UUID::random(), test::rangeOfSeconds(1, 3)}};
    const URL package = writePackage(state, directory_.file("Test.varnelle"));
    const URL url = exported(readPackage(package).currentProject);

    const auto movie = std::make_shared<MediaAsset>(url);
    const MediaTrack track = movie->tracks(MediaType::video).front();
    EXPECT_EQ(track.naturalSize, (CGSize{kWidth, kHeight}));
    EXPECT_NEAR(track.nominalFrameRate, 60, 0.01);
    EXPECT_NEAR(track.duration.seconds(), readPackage(package).currentProject.totalDuration().seconds(),
                1.0 / 60);
    EXPECT_EQ(track.sampleIndex->front().presentationTime, kCMTimeZero);

    // A picture of 4 to 3 on a canvas of the same size, 72 pixels inside above and below.
    const CGRect wide{{96, 72}, {448, 336}};
    for (const double time : {0.5, 4.2}) {
        const DecodedFrame frame = frameAt(movie, time);
        expectCells(frame, wide, "wide");
        expectPointer(frame, wide, "wide");
    }
    // The camera rests on the resting pointer and shows 400 x 300 pixels of the canvas around it.
    const CGPoint focus = onCanvas(wide, kPointer);
    const CGPoint view{std::clamp(focus.x - 200, 0.0, 240.0), std::clamp(focus.y - 150, 0.0, 180.0)};
    const CGRect zoomed{{1.6 * (wide.minX() - view.x), 1.6 * (wide.minY() - view.y)},
                        {1.6 * wide.width(), 1.6 * wide.height()}};
    for (const double time : {1.9, 2.5, 3.1}) {
        const DecodedFrame frame = frameAt(movie, time);
        expectCells(frame, zoomed, "zoomed");
        expectPointer(frame, zoomed, "zoomed");
    }
}

TEST_F(RecordToMovie, ExportsThatFailSayWhyAndLeaveNothing) {
    const RecordingSession session = record(600ms);
    const MediaAsset recording(session.screenRecordingURL);
    const Project project = Project::make(session, recording.duration(), OverlayConfiguration{});
    const auto entriesBefore = directory_.entryCount();

    const auto failureOf = [&](const Project& broken, const URL& outputDirectory) -> std::string {
        ExportSettings settings;
        settings.outputDirectory = outputDirectory;
        settings.customFilename = "movie";
        ExportEngine engine;
        std::string message;
        int calls = 0;
        await(engine.exportProject(
            broken, settings, [](double) {},
            [&](const ExportEngine::Result& result) {
                ++calls;
                if (const auto* error = std::get_if<std::exception_ptr>(&result)) {
                    try {
                        std::rethrow_exception(*error);
                    } catch (const Error& e) {
                        message = e.what();
                    }
                }
            }));
        EXPECT_EQ(calls, 1);
        EXPECT_FALSE(engine.isExporting());
        return message;
    };
    EXPECT_NE(failureOf(project, directory_.file("no folder")).find("movie.mp4"), std::string::npos);

    Project empty = project;
    empty.timeline.tracks = {};
    EXPECT_NE(failureOf(empty, directory_.url()), "");
    Project shorter = project;
    auto& clips = shorter.timeline.tracks.mutableElements()[0].clips.mutableElements();
    clips.push_back(
        {UUID::random(), session.screenRecordingURL, test::rangeOfSeconds(0, 0.2), timeFromSeconds(9)});
    EXPECT_NE(failureOf(shorter, directory_.url()), "");
    Project missing = project;
    missing.timeline.tracks.mutableElements()[0].clips.mutableElements()[0].sourceURL =
        directory_.file("gone.mov");
    EXPECT_NE(failureOf(missing, directory_.url()).find("gone.mov"), std::string::npos);
    Project huge = project;
    huge.recordingSession.renderSize = {60'000, 60'000};
    EXPECT_NE(failureOf(huge, directory_.url()), "");
    EXPECT_EQ(directory_.entryCount(), entriesBefore);
}

TEST_F(RecordToMovie, ExportCanBeCancelledInTheMiddle) {
    const RecordingSession session = record(1500ms);
    const MediaAsset recording(session.screenRecordingURL);
    const Project project = Project::make(session, recording.duration(), OverlayConfiguration{});
    const auto entriesBefore = directory_.entryCount();
    ExportSettings settings;
    settings.outputDirectory = directory_.url();
    settings.preset = ExportPreset::fullHD;
    ExportEngine engine;
    std::exception_ptr failure;
    await(engine.exportProject(
        project, settings, [&engine](double) { engine.cancel(); },
        [&failure](const ExportEngine::Result& result) {
            if (const auto* error = std::get_if<std::exception_ptr>(&result)) failure = *error;
        }));
    ASSERT_TRUE(failure);
    try {
        std::rethrow_exception(failure);
    } catch (const Error& error) {
        EXPECT_STREQ(error.what(), "The export was cancelled.");
    }
    EXPECT_EQ(directory_.entryCount(), entriesBefore);
}

}  // namespace
}  // namespace varnelle
