#include "editor/EditorPlaybackController.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <QSignalSpy>
#include <QTest>

#include <filesystem>

#include "FakePlayer.h"
#include "RecordedProject.h"
#include "editor/PreviewFrames.h"
#include "media/Player.h"
#include "media/SilentAudioOutput.h"
#include "support/TemporaryDirectory.h"
#include "tasks/Await.h"

namespace varnelle {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;

constexpr int kDeadline = 20'000;  // milliseconds

template <typename Condition>
bool waitFor(Condition condition) {
    return QTest::qWaitFor(condition, kDeadline);
}

/// Handles what has been posted.
void processPosted() {
    QCoreApplication::sendPostedEvents();
    QCoreApplication::processEvents();
}

/// Projects that all tests play, of one and of two seconds.
class ProjectsTest : public testing::Test {
protected:
    static void SetUpTestSuite() {
        directory_ = new test::TemporaryDirectory;
        longProject = new Project(test::recordProject(directory_->url(), 60));
        shortProject = new Project(test::recordProject(directory_->url(), 30, false));
    }
    static void TearDownTestSuite() {
        delete longProject;
        delete shortProject;
        delete directory_;
    }
    static Project missingProject() {
        Project project = *shortProject;
        auto& clips = project.timeline.tracks.mutableElements()[0].clips.mutableElements();
        clips[0].sourceURL = directory_->file("missing.mov");
        return project;
    }

    static inline Project* longProject = nullptr;
    static inline Project* shortProject = nullptr;

private:
    static inline test::TemporaryDirectory* directory_ = nullptr;
};

/// The controller's rules, with a player whose every step the test decides.
class EditorPlaybackControllerTest : public ProjectsTest {
protected:
    EditorPlaybackControllerTest() {
        auto made = std::make_unique<test::FakePlayer>(log);
        player = made.get();
        controller = std::make_unique<EditorPlaybackController>(std::move(made));
    }

    void load(const Project& project, bool keepingPosition = false) {
        await(controller->load(project, keepingPosition));
        processPosted();
    }
    /// Loaded and paused, with nothing noted.
    void loadPaused(const Project& project) {
        load(project);
        controller->togglePlayback();
        processPosted();
        log->commands.clear();
    }
    void report(double seconds) {
        player->handlers.onTime(timeFromSeconds(seconds));
        processPosted();
    }
    [[nodiscard]] double now() const { return controller->currentSeconds(); }

    std::shared_ptr<test::FakePlayer::Log> log = std::make_shared<test::FakePlayer::Log>();
    test::FakePlayer* player;  ///< the controller's
    std::unique_ptr<EditorPlaybackController> controller;
};

TEST_F(EditorPlaybackControllerTest, TheFirstLoadPublishesAndPlays) {
    EXPECT_EQ(controller->previewAspectRatio(), 16.0 / 9.0);
    QSignalSpy loading(controller.get(), &EditorPlaybackController::isLoadingChanged);
    QSignalSpy playing(controller.get(), &EditorPlaybackController::isPlayingChanged);
    load(*longProject);
    EXPECT_EQ(loading.count(), 2);
    EXPECT_EQ(playing.count(), 1);
    EXPECT_TRUE(controller->isPlaying());
    EXPECT_FALSE(controller->isLoading());
    EXPECT_FALSE(controller->loadError());
    EXPECT_EQ(controller->duration(), CMTime::make(2, 1));
    EXPECT_THAT(controller->assetDurations(),
                ElementsAre(std::pair(longProject->recordingSession.screenRecordingURL, CMTime::make(2, 1))));
    EXPECT_THAT(log->commands, ElementsAre("item", "seek 0", "rate 1", "play"));
    const AudioMix mix = log->items[0]->audioMix;
    ASSERT_EQ(mix.inputParameters.size(), 2U);
    EXPECT_EQ(mix.inputParameters[0].volume, 1);
}

TEST_F(EditorPlaybackControllerTest, AReloadGoesOnAsItWas) {
    load(*longProject);
    controller->setPlaybackRate(1.5);
    report(1.5);
    log->commands.clear();
    load(*longProject, true);
    EXPECT_THAT(log->commands, ElementsAre("item", "seek 1.5", "rate 1.5", "play"));
    EXPECT_TRUE(controller->isPlaying());

    controller->togglePlayback();
    log->commands.clear();
    QSignalSpy playing(controller.get(), &EditorPlaybackController::isPlayingChanged);
    load(*shortProject, true);
    EXPECT_THAT(log->commands, ElementsAre("item", "seek 1", "pause")) << "clamped to the shorter one";
    EXPECT_EQ(now(), 1);
    EXPECT_EQ(playing.count(), 0);
    EXPECT_EQ(controller->playbackRate(), 1.5F);
    load(*longProject);
    EXPECT_EQ(now(), 0);
}

TEST_F(EditorPlaybackControllerTest, AnOvertakenLoadPublishesNothing) {
    QSignalSpy durations(controller.get(), &EditorPlaybackController::durationChanged);
    const auto first = controller->load(*longProject, false);
    load(*shortProject);
    EXPECT_EQ(durations.count(), 1);
    EXPECT_EQ(controller->duration(), CMTime::make(1, 1));
    EXPECT_EQ(log->items.size(), 1U);
    EXPECT_TRUE(controller->isPlaying());

    // Overtaken only while its seek is under way: it ends there, and the newer one plays on.
    player->endsSeeks = false;
    const auto second = controller->load(*longProject, false);
    ASSERT_TRUE(waitFor([&] { return log->items.size() == 2; }));
    log->commands.clear();
    const auto third = controller->load(*shortProject, false);
    ASSERT_TRUE(waitFor([&] { return log->items.size() == 3; }));
    EXPECT_TRUE(controller->isLoading());
    player->endSeek(true);
    ASSERT_TRUE(waitFor([&] { return !controller->isLoading(); }));
    EXPECT_THAT(log->commands, ElementsAre("cancel", "item", "seek 0", "rate 1", "play"));
}

TEST_F(EditorPlaybackControllerTest, AFailedLoadLeavesNothingButAText) {
    load(*longProject);
    report(1);
    // A failure that was overtaken is nobody's.
    const auto overtaken = controller->load(missingProject(), true);
    load(*longProject, true);
    EXPECT_FALSE(controller->loadError());
    log->commands.clear();
    load(missingProject(), true);
    EXPECT_THAT(controller->loadError().value_or(""), HasSubstr("missing.mov"));
    EXPECT_THAT(log->commands, ElementsAre("pause", "no item"));
    EXPECT_EQ(controller->duration(), kCMTimeZero);
    EXPECT_EQ(controller->currentTime(), kCMTimeZero);
    EXPECT_TRUE(controller->assetDurations().empty());
    EXPECT_FALSE(controller->isPlaying());
    EXPECT_FALSE(controller->isLoading());
    controller->togglePlayback();
    EXPECT_FALSE(controller->isPlaying()) << "there is nothing to play";
    load(*longProject);
    EXPECT_FALSE(controller->loadError());
}

TEST_F(EditorPlaybackControllerTest, TogglingAtTheEndStartsOver) {
    load(*longProject);
    player->end(log->items[0]);
    processPosted();
    EXPECT_FALSE(controller->isPlaying());
    EXPECT_EQ(controller->currentTime(), controller->duration());
    log->commands.clear();
    controller->togglePlayback();
    EXPECT_THAT(log->commands, ElementsAre("seek 0", "rate 1", "play"));
    EXPECT_TRUE(controller->isPlaying());
    EXPECT_EQ(now(), 0);
    player->endsSeeks = false;
    controller->seek(timeFromSeconds(0.5));
    controller->togglePlayback();
    EXPECT_THAT(log->commands, ElementsAre("seek 0", "rate 1", "play", "seek 0.5", "cancel", "pause"));
}

TEST_F(EditorPlaybackControllerTest, AnEndThatIsOutOfDateIsNoEnd) {
    load(*longProject);
    const auto first = log->items[0];
    load(*longProject);
    player->handlers.onEnd(first);
    processPosted();
    EXPECT_EQ(now(), 0) << "another item's";
    player->end(log->items[1]);
    controller->seek(timeFromSeconds(0.5));
    processPosted();
    EXPECT_EQ(now(), 0.5) << "somebody has gone elsewhere before it was heard";
}

TEST_F(EditorPlaybackControllerTest, SeeksAreClampedAndKeepTheRate) {
    load(*longProject);
    controller->setPlaybackRate(2);
    player->endsSeeks = false;
    log->commands.clear();
    controller->seek(timeFromSeconds(1));
    controller->seek(CMTime::make(-1, 1));
    controller->seek(timeFromSeconds(9));
    EXPECT_EQ(now(), 2);
    processPosted();
    report(0.3);
    EXPECT_EQ(now(), 2) << "that is where it was before";
    player->endSeek(true);
    processPosted();
    EXPECT_THAT(log->commands, ElementsAre("seek 1", "seek 0", "seek 2", "rate 2")) << "of the last one only";
    report(1.9);
    EXPECT_EQ(now(), 1.9);
    controller->togglePlayback();
    log->commands.clear();
    controller->seek(timeFromSeconds(1));
    player->endSeek(true);
    processPosted();
    EXPECT_THAT(log->commands, ElementsAre("seek 1")) << "paused, it has no rate";
}

TEST_F(EditorPlaybackControllerTest, AScrubHoldsThePlayhead) {
    load(*longProject);
    controller->scrub(timeFromSeconds(1));
    EXPECT_TRUE(controller->isSkimming());
    report(0.1);
    EXPECT_EQ(now(), 1);
    log->commands.clear();
    controller->scrub(std::nullopt);
    EXPECT_FALSE(controller->isSkimming());
    EXPECT_TRUE(log->commands.empty()) << "playing, the position is the player's";
    report(1.1);
    EXPECT_EQ(now(), 1.1);

    controller->togglePlayback();
    controller->scrub(timeFromSeconds(0.7));
    controller->seek(timeFromSeconds(0.2));
    EXPECT_EQ(now(), 0.2) << "the later call wins";
    log->commands.clear();
    controller->scrub(std::nullopt);
    EXPECT_THAT(log->commands, ElementsAre("seek 0.2")) << "so that the frame shown is exact";
}

TEST_F(EditorPlaybackControllerTest, LiveChangesNeedNoBuild) {
    loadPaused(*longProject);
    OverlayConfiguration look = longProject->timeline.overlayConfiguration;
    controller->applyOverlayConfiguration(look);
    EXPECT_TRUE(log->commands.empty()) << "nothing has changed";
    look.canvasPadding += 10;
    controller->applyOverlayConfiguration(look);
    controller->applyZoomPanClips({{UUID::random(), test::rangeOfSeconds(0.5, 1)}});
    AudioConfiguration audio = longProject->timeline.audioConfiguration;
    controller->applyAudioConfiguration(audio);
    audio.includesMicrophone = false;
    controller->applyAudioConfiguration(audio);
    controller->applyAudioConfiguration(audio);
    EXPECT_THAT(log->commands, ElementsAre("redraw", "redraw", "mix"));
    ASSERT_EQ(log->mix.inputParameters.size(), 2U);
    EXPECT_EQ(log->mix.inputParameters[0].volume, 1);
    EXPECT_EQ(log->mix.inputParameters[1].volume, 0);
    const auto instruction = std::dynamic_pointer_cast<const OverlayVideoCompositionInstruction>(
        log->items[0]->videoComposition.instruction);
    EXPECT_EQ(instruction->contents().overlayController->configuration(), look);
    EXPECT_EQ(instruction->contents().zoomPanClipsController->ranges().size(), 1U);
}

TEST_F(EditorPlaybackControllerTest, ChangesDuringALoadAreNotLost) {
    OverlayConfiguration look = longProject->timeline.overlayConfiguration;
    look.canvasPadding += 10;
    const auto loading = controller->load(*longProject, false);
    controller->applyOverlayConfiguration(look);
    controller->applyZoomPanClips({{UUID::random(), test::rangeOfSeconds(0.5, 1)}});
    controller->applyAudioConfiguration({});
    controller->setPlaybackRate(4);
    ASSERT_TRUE(waitFor([&] { return !controller->isLoading(); }));
    const auto instruction = std::dynamic_pointer_cast<const OverlayVideoCompositionInstruction>(
        log->items[0]->videoComposition.instruction);
    EXPECT_EQ(instruction->contents().overlayController->configuration(), look);
    EXPECT_EQ(instruction->contents().zoomPanClipsController->ranges().size(), 1U);
    EXPECT_EQ(log->items[0]->audioMix.inputParameters[0].volume, 0);
    EXPECT_THAT(log->commands, ElementsAre("item", "seek 0", "rate 4", "play"));
}

TEST_F(EditorPlaybackControllerTest, NothingIsPublishedAfterTeardown) {
    load(*longProject);
    const auto loading = controller->load(*shortProject, true);
    controller->seek(timeFromSeconds(1));
    QSignalSpy times(controller.get(), &EditorPlaybackController::currentTimeChanged);
    QSignalSpy durations(controller.get(), &EditorPlaybackController::durationChanged);
    player->handlers.onTime(timeFromSeconds(0.5));
    // Threads of the player may go on for a while when they aren't waited for.
    const PlayerControls::Handlers late = player->handlers;
    SerialQueue queue("ending");
    controller->teardown(queue);
    late.onTime(timeFromSeconds(0.6));
    queue.sync([] {});
    EXPECT_TRUE(log->isDestroyed);
    controller->togglePlayback();
    controller->seek(kCMTimeZero);
    controller->scrub(timeFromSeconds(1));
    controller->applyZoomPanClips({});
    ASSERT_TRUE(waitFor([&] { return loading.isReady(); }));
    processPosted();
    EXPECT_EQ(durations.count(), 0);
    EXPECT_EQ(times.count(), 0);
    controller = nullptr;
    late.onTime(timeFromSeconds(0.7));
}

/// With the real player, on the monotonic clock.
class EditorPlaybackTest : public ProjectsTest {
protected:
    EditorPlaybackTest() { make(); }

    void make() {
        controller = std::make_unique<EditorPlaybackController>(
            std::make_unique<Player>(std::make_shared<SilentAudioOutput>()));
    }
    [[nodiscard]] VideoFrame frame() const { return controller->previewFrames()->newest(); }
    void pauseAt(double seconds) {
        if (controller->isPlaying()) controller->togglePlayback();
        const VideoFrame before = frame();
        controller->seek(timeFromSeconds(seconds));
        ASSERT_TRUE(waitFor([&] { return !frame().isEmpty() && !frame().sharesStorage(before); }));
    }

    std::unique_ptr<EditorPlaybackController> controller;
};

TEST_F(EditorPlaybackTest, AProjectPlaysToItsEndAndAgain) {
    controller->setPreviewSize({160, 90});
    await(controller->load(*longProject, false));
    EXPECT_TRUE(controller->isPlaying());
    ASSERT_FALSE(frame().isEmpty()) << "the first frame is there when the load has ended";
    EXPECT_EQ(frame().width(), 160);
    controller->setPlaybackRate(2);
    double last = 0;
    QObject::connect(controller.get(), &EditorPlaybackController::currentTimeChanged, [&] {
        EXPECT_GE(controller->currentSeconds(), last);
        last = controller->currentSeconds();
    });
    ASSERT_TRUE(waitFor([&] { return !controller->isPlaying(); }));
    ASSERT_TRUE(waitFor([&] { return controller->currentTime() == controller->duration(); }));
    last = 0;
    controller->togglePlayback();
    EXPECT_TRUE(controller->isPlaying());
    ASSERT_TRUE(waitFor([&] { return controller->currentSeconds() > 0.5; }));
    controller->togglePlayback();
    EXPECT_FALSE(controller->isPlaying());
    processPosted();
    EXPECT_LT(controller->currentSeconds(), 2);
}

TEST_F(EditorPlaybackTest, ALiveChangeRedrawsThePausedFrame) {
    await(controller->load(*longProject, false));
    pauseAt(1);
    const auto centre = [&] {
        const VideoFrame shown = frame();
        return std::vector(shown.plane(0).data, shown.plane(0).data + 4 * 320);
    };
    const VideoFrame before = frame();
    const auto row = centre();
    OverlayConfiguration look = longProject->timeline.overlayConfiguration;
    look.canvasBackgroundStyle = CanvasBackgroundStyle::none;
    controller->applyOverlayConfiguration(look);
    ASSERT_TRUE(waitFor([&] { return !frame().sharesStorage(before); }));
    EXPECT_NE(centre(), row);
    EXPECT_FALSE(controller->isLoading());
    EXPECT_EQ(controller->currentSeconds(), 1);
}

TEST_F(EditorPlaybackTest, AReloadKeepsThePlaceOnTheTimeline) {
    await(controller->load(*longProject, false));
    pauseAt(1.5);
    Project cut = *longProject;
    auto& clips = cut.timeline.tracks.mutableElements()[0].clips.mutableElements();
    clips[0].trimRange = test::rangeOfSeconds(0.5, 1);
    await(controller->load(cut, true));
    EXPECT_EQ(controller->duration(), CMTime::make(1, 1));
    EXPECT_EQ(controller->currentSeconds(), 1);
    EXPECT_FALSE(controller->isPlaying());
}

TEST_F(EditorPlaybackTest, WhatIsMissingOfARecordingDoesntStopIt) {
    // Telemetry that isn't there, and a clip of three seconds in a movie of two.
    Project project = *longProject;
    project.recordingSession.cursorRecordingURL =
        project.recordingSession.screenRecordingURL.parent().appending("cursor.json");
    ASSERT_FALSE(project.recordingSession.cursorRecordingURL->exists());
    auto& clips = project.timeline.tracks.mutableElements()[0].clips.mutableElements();
    clips[0].trimRange = test::rangeOfSeconds(0, 3);
    await(controller->load(project, false));
    EXPECT_FALSE(controller->loadError()) << *controller->loadError();
    EXPECT_FALSE(frame().isEmpty());
    EXPECT_LE(controller->duration(), CMTime::make(3, 1));
    EXPECT_GE(controller->duration(), CMTime::make(2, 1));
    controller->setPlaybackRate(4);
    ASSERT_TRUE(waitFor([&] { return !controller->isPlaying(); }));
    EXPECT_TRUE(waitFor([&] { return controller->currentTime() == controller->duration(); }));
    EXPECT_FALSE(controller->loadError());
}

TEST_F(EditorPlaybackTest, NoThreadIsLeftWhateverItIsInTheMidstOf) {
    // Once it stays the same: a thread that was joined leaves the list a little later.
    const auto threadCount = [] {
        std::ptrdiff_t last = 0;
        int sameLooks = 0;
        EXPECT_TRUE(waitFor([&] {
            const auto tasks = std::filesystem::directory_iterator("/proc/self/task");
            const std::ptrdiff_t count = std::distance(begin(tasks), end(tasks));
            sameLooks = count == last ? sameLooks + 1 : 1;
            last = count;
            return sameLooks == 5;
        }));
        return last;
    };
    controller = nullptr;
    const auto threads = threadCount();
    for (int round = 0; round < 8; ++round) {
        SerialQueue queue("ending");
        make();
        const auto loading = controller->load(*longProject, false);
        if (round % 4 > 0) {
            ASSERT_TRUE(waitFor([&] { return !controller->isLoading(); }));
        }
        if (round % 4 == 2) controller->seek(timeFromSeconds(1));
        if (round % 4 == 3) controller->scrub(timeFromSeconds(0.5));
        const auto reloading = controller->load(*shortProject, true);
        if (round >= 4) controller->teardown(queue);
        controller = nullptr;
        ASSERT_TRUE(waitFor([&] { return loading.isReady() && reloading.isReady(); }));
    }
    EXPECT_EQ(threadCount(), threads);
}

}  // namespace
}  // namespace varnelle
