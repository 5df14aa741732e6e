#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <QCoro/QCoroTask>
#include <QCoro/QCoroTimer>
#include <array>
#include <atomic>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <random>
#include <thread>

#include "camera/CursorRecordingFile.h"
#include "foundation/AtomicFile.h"
#include "foundation/DirectoryLock.h"
#include "foundation/HostClock.h"
#include "foundation/Log.h"
#include "media/MediaAsset.h"
#include "platform/linux/LinuxDesktop.h"
#include "recording/RecordingCoordinator.h"
#include "recording/SessionRecovery.h"
#include "support/PatternWindow.h"
#include "support/TemporaryDirectory.h"
#include "support/Waiting.h"
#include "support/XServer.h"
#include "tasks/Await.h"

namespace varnelle {
namespace {

using namespace std::chrono_literals;
using test::PatternWindow;
using test::XServer;
using testing::HasSubstr;

constexpr int kWidth = 640;
constexpr int kHeight = 480;

/// Draws new cells all the time.
class BusyWindow {
public:
    explicit BusyWindow(const std::string& displayName, int cellPixels = 32)
        : window_(displayName, 0, 0, kWidth, kHeight), cellPixels_(cellPixels), thread_([this] { run(); }) {}
    ~BusyWindow() { stop(); }
    void stop() {
        isStopping_ = true;
        if (thread_.joinable()) thread_.join();
    }

private:
    void run() {
        for (std::uint32_t phase = 0; !isStopping_; ++phase) {
            window_.fillCells(cellPixels_, phase);
            std::this_thread::sleep_for(5ms);
        }
    }

    PatternWindow window_;
    int cellPixels_;
    std::atomic<bool> isStopping_ = false;
    std::thread thread_;
};

/// The recorder in a process of its own, and what it prints.
class RecorderProcess {
public:
    explicit RecorderProcess(const std::vector<std::string>& arguments) {
        std::array<int, 2> ends{};
        if (pipe2(ends.data(), O_CLOEXEC) != 0) throw std::runtime_error("no pipe");
        std::vector<std::string> command{SCREEN_RECORDER_PROGRAM};
        command.insert(command.end(), arguments.begin(), arguments.end());
        process_ = std::make_unique<test::ChildProcess>(command, std::vector<std::string>{}, -1, ends[1]);
        close(ends[1]);
        output_ = fdopen(ends[0], "r");
    }
    ~RecorderProcess() {
        process_ = nullptr;
        std::fclose(output_);
    }
    RecorderProcess(const RecorderProcess&) = delete;
    RecorderProcess& operator=(const RecorderProcess&) = delete;

    /// The next line it prints; empty at the end.
    std::string readLine() {
        std::string line;
        for (int c = std::fgetc(output_); c != EOF && c != '\n'; c = std::fgetc(output_)) {
            line += static_cast<char>(c);
        }
        return line;
    }
    void kill() {
        process_->sendSignal(SIGKILL);
        process_->waitForEnd();
    }

private:
    std::unique_ptr<test::ChildProcess> process_;
    std::FILE* output_ = nullptr;
};

URL onlySession(const URL& temporaryDirectory) {
    const URL sessions = temporaryDirectory.appending("Varnelle").appending("Sessions");
    return URL(std::filesystem::directory_iterator(sessions.path())->path());
}

/// All pictures of a movie, decoded by a program that knows nothing of this one, as rows of blue, green, red
/// bytes. Empty if a picture doesn't decode.
std::string decodedPictures(const URL& movie, const URL& scratch) {
    test::ChildProcess decoder({"ffmpeg", "-v", "error", "-xerror", "-i", movie.string(), "-vsync",
                                "passthrough", "-pix_fmt", "bgr24", "-f", "rawvideo", scratch.string()});
    return decoder.waitForEnd() == 0 ? readFile(scratch) : std::string();
}

/// The largest difference of a channel between a place of a decoded picture and a colour.
int difference(const std::string& pictures, std::size_t picture, int x, int y, std::uint32_t color) {
    const std::size_t offset =
        ((picture * kHeight + static_cast<std::size_t>(y)) * kWidth + static_cast<std::size_t>(x)) * 3;
    int largest = 0;
    for (std::size_t channel = 0; channel < 3; ++channel) {
        const int shown = static_cast<std::uint8_t>(pictures.at(offset + channel));
        const int wanted = static_cast<std::uint8_t>(color >> (8 * channel));
        largest = std::max(largest, std::abs(shown - wanted));
    }
    return largest;
}

class ScreenRecordingTest : public testing::Test {
protected:
    void SetUp() override {
        if (!XServer::isAvailable()) GTEST_SKIP() << XServer::kMissing;
        server.emplace(kWidth, kHeight);
    }
    RecordingConfiguration configuration() {
        LinuxDesktop desktop(server->displayName());
        RecordingConfiguration result;
        result.source = RecordingConfiguration::DisplaySource{desktop.shareableContent({}).displays.front()};
        return result;
    }

    test::TemporaryDirectory directory;
    std::optional<XServer> server;
};

TEST_F(ScreenRecordingTest, RecordsWhatChangesAndLastsUntilTheStop) {
    PatternWindow window(server->displayName(), 0, 0, kWidth, kHeight);
    window.fillCells(32, 1);
    test::PointerRobot robot(server->displayName());
    robot.moveTo(160, 120);
    LinuxDesktop desktop(server->displayName());
    RecordingCoordinator coordinator(desktop, directory.url());
    std::optional<RecordingSession> session;
    CMTime liveAt;
    CMTime stoppedAt;
    const auto record = [&]() -> QCoro::Task<> {
        co_await coordinator.prepareRecording(configuration());
        co_await coordinator.startRecording();
        liveAt = hostTimeNow();
        for (std::uint32_t i = 0; i < 20; ++i) {
            co_await QCoro::sleepFor(50ms);
            window.fill(64, 64, 64, 64, 0x10203 * i);
        }
        robot.setButton(1, true);
        robot.moveTo(320, 240);
        co_await QCoro::sleepFor(100ms);
        robot.setButton(1, false);
        co_await QCoro::sleepFor(1s);
        stoppedAt = hostTimeNow();
        session = co_await coordinator.stopRecording();
    };
    await(record());

    const MediaTrack track = MediaAsset(session->screenRecordingURL).tracks(MediaType::video).at(0);
    EXPECT_EQ(track.naturalSize, (CGSize{kWidth, kHeight}));
    const auto& index = *track.sampleIndex;
    ASSERT_GE(index.size(), 10U);
    EXPECT_EQ(index.front().presentationTime, kCMTimeZero);
    for (std::size_t i = 1; i < index.size(); ++i) {
        EXPECT_GT(index[i].presentationTime, index[i - 1].presentationTime);
    }
    EXPECT_LT(index.back().presentationTime.seconds(), 1.6) << "a still screen gives no frames";
    EXPECT_NEAR(track.duration.seconds(), (stoppedAt - liveAt).seconds(), 0.1);
    const StreamStatistics statistics = coordinator.statistics()[StreamKind::screenVideo];
    EXPECT_EQ(statistics.recordedFrames, index.size());

    const std::string pictures = decodedPictures(session->screenRecordingURL, directory.file("pictures"));
    ASSERT_EQ(pictures.size(), index.size() * kWidth * kHeight * 3);
    constexpr int kCodingTolerance = 24;
    for (int y = 16; y < kHeight; y += 32) {
        for (int x = 16; x < kWidth; x += 32) {
            EXPECT_LE(difference(pictures, 0, x, y, PatternWindow::cellColor(x, y, 32, 1)), kCodingTolerance)
                << x << ", " << y;
        }
    }
    EXPECT_LE(difference(pictures, index.size() - 1, 96, 96, 0x10203 * 19), kCodingTolerance)
        << "the last change";

    const CursorRecording cursor = readCursorRecording(*session->cursorRecordingURL);
    EXPECT_EQ(cursor.captureRegion, (CursorCaptureRegion{0, 0, kWidth, kHeight}));
    EXPECT_EQ(cursor.movementSamples.front().normalizedX, 0.25);
    EXPECT_EQ(cursor.movementSamples.front().normalizedY, 0.75);
    EXPECT_EQ(cursor.movementSamples.back().normalizedX, 0.5);
    ASSERT_EQ(cursor.activitySamples.size(), 2U);
    EXPECT_EQ(cursor.activitySamples[0].kind, CursorActivityKind::leftMouseDown);
    EXPECT_EQ(cursor.activitySamples[1].kind, CursorActivityKind::leftMouseUp);
    EXPECT_NEAR(cursor.lastEventTime(), track.duration.seconds(), 0.1);
}

TEST_F(ScreenRecordingTest, DisplayThatDisappearsLeavesTheRecordingWhole) {
    test::Inbox<std::string> log;
    const LogObserver observer(LogCategory::capture, [&log](const std::string& line) { log.put(line); });
    auto busy = std::make_optional<BusyWindow>(server->displayName());
    LinuxDesktop desktop(server->displayName());
    RecordingCoordinator coordinator(desktop, directory.url());
    const auto record = [&]() -> QCoro::Task<RecordingSession> {
        co_await coordinator.prepareRecording(configuration());
        co_await coordinator.startRecording();
        co_await QCoro::sleepFor(500ms);
        busy->stop();
        server->kill();
        co_await QCoro::sleepFor(500ms);
        co_return co_await coordinator.stopRecording();
    };
    const RecordingSession session = await(record());
    EXPECT_THAT(log.items(),
                testing::Contains("Stream stopped with error: The connection to the X display “" +
                                  server->displayName() + "” was lost.")
                    .Times(1));
    const MediaTrack track = MediaAsset(session.screenRecordingURL).tracks(MediaType::video).at(0);
    EXPECT_GE(track.sampleIndex->size(), 5U);
    EXPECT_GE(track.duration.seconds(), 0.9);
    EXPECT_FALSE(readCursorRecording(*session.cursorRecordingURL).movementSamples.empty());
}

TEST_F(ScreenRecordingTest, KilledRecorderLeavesASessionThatCanBeRecovered) {
    const BusyWindow busy(server->displayName());
    RecorderProcess recorder({server->displayName(), directory.url().string(), "60"});
    ASSERT_THAT(recorder.readLine(), HasSubstr("recording"));
    const CMTime liveAt = hostTimeNow();
    std::random_device seed;
    const auto lifetime = std::chrono::milliseconds(2500 + seed() % 2000);
    std::this_thread::sleep_for(lifetime);
    EXPECT_TRUE(recoverableSessions(directory.url()).empty()) << "its recorder lives";
    recorder.kill();
    const double killedAt = (hostTimeNow() - liveAt).seconds();
    const MediaAsset asset(onlySession(directory.url()).appending("screen.mov"));
    const MediaTrack track = asset.tracks(MediaType::video).at(0);
    ASSERT_FALSE(track.sampleIndex->empty());
    EXPECT_EQ(track.sampleIndex->front().presentationTime, kCMTimeZero);
    EXPECT_GE(track.sampleIndex->back().presentationTime.seconds(), killedAt - 1);

    const std::vector<RecoverableSession> found = recoverableSessions(directory.url());
    ASSERT_EQ(found.size(), 1U);
    const RecordingSession& session = found.front().session;
    EXPECT_EQ(session.screenRecordingURL, asset.url());
    EXPECT_EQ(session.renderSize, (CGSize{kWidth, kHeight}));
    EXPECT_EQ(session.frameRate, 60);
    EXPECT_LE(Date::now().secondsSinceEpoch - session.createdAt.secondsSinceEpoch, 30);
    EXPECT_EQ(found.front().duration, asset.duration());
    ASSERT_TRUE(session.cursorRecordingURL.has_value());
    const auto movements = readCursorRecording(*session.cursorRecordingURL).movementSamples;
    ASSERT_FALSE(movements.empty());
    EXPECT_LE(movements.front().timeSeconds, 0.1);
    EXPECT_GE(movements.back().timeSeconds, killedAt - 2) << "all but the last line of the journal";
    EXPECT_GT(found.front().byteCount, 0U);
    const DirectoryLock lock = DirectoryLock::shared(session.directoryURL);
    EXPECT_TRUE(recoverableSessions(directory.url()).empty()) << "somebody has taken it up";
}

TEST_F(ScreenRecordingTest, FullDiskAsksForTheStopFailsItAndKeepsWhatWasWritten) {
    // The limit also holds for the memory that frames are captured to, so a frame has to fit into it.
    server.emplace(kWidth / 2, kHeight / 2);
    const BusyWindow busy(server->displayName(), 8);
    RecorderProcess recorder({server->displayName(), directory.url().string(), "100", "320000"});
    ASSERT_THAT(recorder.readLine(), HasSubstr("recording"));
    EXPECT_THAT(recorder.readLine(), testing::AllOf(HasSubstr("failed: "), HasSubstr("screen.mov")));
    EXPECT_THAT(recorder.readLine(), HasSubstr("statistics")) << "and it ends by itself";
    const MediaAsset asset(onlySession(directory.url()).appending("screen.mov"));
    EXPECT_FALSE(asset.tracks(MediaType::video).at(0).sampleIndex->empty());
}

}  // namespace
}  // namespace varnelle
