#include "editor/EditorModel.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <QSignalSpy>
#include <fstream>

#include "app/LaunchedAppTest.h"
#include "camera/CursorRecordingFile.h"
#include "editor/FakePlayer.h"
#include "editor/RecordedProject.h"
#include "support/Telemetry.h"
#include "support/ViewFixture.h"
#include "ui/MenuModel.h"

// Written by Qt's type registrar.
void qml_register_types_Varnelle_Editor();

namespace varnelle {
namespace {

using testing::Contains;
using testing::ElementsAre;

/// An editor over a recording of two seconds, with a player that the test plays.
class EditorModelTest : public test::LaunchedAppTest {
protected:
    void SetUp() override {
        project = test::recordProject(directory.url(), 60);
        launches();
        editor = std::make_unique<EditorModel>(
            *app,
            [this] {
                auto made = std::make_unique<test::FakePlayer>(log);
                player = made.get();
                return made;
            },
            TimelineCacheDirectory(directory.file("cache")));
    }
    void TearDown() override {
        editor.reset();
        LaunchedAppTest::TearDown();
    }
    /// Open, loaded and paused, with nothing noted.
    void opens() {
        app->beginProject(project);
        app->enterEditor();
        isLoaded();
        editor->togglePlayback();
        settle();
        log->commands.clear();
    }
    void isLoaded() {
        ASSERT_TRUE(
            eventually([&] { return editor->playback() != nullptr && !editor->playback()->isLoading(); }));
        settle();
    }
    static void settle() {
        QCoreApplication::sendPostedEvents();
        QCoreApplication::processEvents();
    }
    void closes() {
        app->requestProjectTransition(NewRecording{});
        ASSERT_TRUE(windows.alert);
        windows.answer(ProjectAlertAnswer::deleteProject);
        EXPECT_TRUE(eventually([&] { return !editor->hasProject(); }));
    }
    [[nodiscard]] const Project& current() const { return *app->currentProject(); }
    [[nodiscard]] const SharedList<TimelineClip>& clips() const { return current().videoTrack()->clips; }
    [[nodiscard]] TimelineModel& timeline() { return *editor->timeline(); }
    [[nodiscard]] std::size_t undoSteps() const { return app->currentEditorState()->undoStack.size(); }

    Project project;
    const test::TemporaryDirectory another;  ///< for a further recording
    std::shared_ptr<test::FakePlayer::Log> log = std::make_shared<test::FakePlayer::Log>();
    test::FakePlayer* player = nullptr;  ///< that of the open project
    std::unique_ptr<EditorModel> editor;
};

TEST_F(EditorModelTest, OpensPlaysAndCloses) {
    EXPECT_FALSE(editor->hasProject());
    EXPECT_EQ(editor->playback(), nullptr);
    app->beginProject(project);
    isLoaded();
    EXPECT_TRUE(editor->playback()->isPlaying());
    EXPECT_EQ(editor->projectName().toStdString(), project.name);
    EXPECT_EQ(timeline().selectedClipID(), project.firstVideoClipID());
    EXPECT_EQ(timeline().durationText(), "0:02.00");
    EXPECT_FALSE(editor->canUndo());

    app->showExportView();
    EXPECT_FALSE(editor->playback()->isPlaying()) << "who exports hears nothing";
    closes();
    EXPECT_TRUE(eventually([&] { return log->isDestroyed.load(); }));
    EXPECT_EQ(editor->playback(), nullptr);
}

TEST_F(EditorModelTest, WhatIsLoadedBehindTheExportViewRests) {
    app->beginProject(project);
    app->showExportView();
    isLoaded();
    EXPECT_FALSE(editor->playback()->isPlaying());
    app->enterEditor();
    app->editProject([&](TimelineEditor& edited) {
        edited.splitClip(*project.firstVideoClipID(), 0, timeFromSeconds(1));
    });
    isLoaded();
    EXPECT_FALSE(editor->playback()->isPlaying()) << "nor does coming back start it";
    EXPECT_THAT(log->commands, testing::Not(Contains("play")));

    editor->togglePlayback();
    editor->undo();
    ASSERT_TRUE(editor->playback()->isLoading());
    app->showExportView();
    isLoaded();
    EXPECT_FALSE(editor->playback()->isPlaying());
}

TEST_F(EditorModelTest, AProjectClosesBeforeItsPlayerHasEnded) {
    std::promise<void> end;
    log->mayEnd = end.get_future().share();
    app->beginProject(project);
    isLoaded();
    log->commands.clear();
    closes();
    EXPECT_FALSE(log->isDestroyed);
    EXPECT_THAT(log->commands, ElementsAre("no item")) << "it is silent at once";
    app->beginProject(test::recordProject(another.url(), 30));
    isLoaded();
    EXPECT_TRUE(editor->playback()->isPlaying());
    EXPECT_EQ(timeline().durationText(), "0:01.00");
    end.set_value();
    EXPECT_TRUE(eventually([&] { return log->isDestroyed.load(); }));
}

TEST_F(EditorModelTest, OtherClipsAreBuiltAndOtherLooksRedrawn) {
    opens();
    timeline().splitClip(*project.firstVideoClipID(), timeFromSeconds(1));
    EXPECT_EQ(clips().size(), 2U);
    isLoaded();
    EXPECT_THAT(log->commands, Contains("item"));
    EXPECT_FALSE(editor->playback()->isPlaying()) << "it goes on as it was";
    EXPECT_TRUE(current().containsClip(timeline().selectedClipID()));

    log->commands.clear();
    InspectorSlider& padding = *editor->inspector()->backgroundSliders()[0].value<InspectorSlider*>();
    padding.drag(100);
    padding.drag(120);
    EXPECT_EQ(current().timeline.overlayConfiguration.canvasPadding, 72) << "only shown";
    EXPECT_THAT(log->commands, ElementsAre("redraw", "redraw"));
    padding.endDrag();
    EXPECT_EQ(current().timeline.overlayConfiguration.canvasPadding, 120);
    EXPECT_FALSE(current().timeline.overlayConfiguration.isInteractivelyEditing);
    EXPECT_EQ(undoSteps(), 2U);
    padding.drag(120);
    padding.endDrag();
    EXPECT_EQ(undoSteps(), 3U) << "one released where it was is a step, too";

    log->commands.clear();
    editor->inspector()->toggleMicrophone();
    EXPECT_FALSE(current().timeline.audioConfiguration.includesMicrophone);
    EXPECT_THAT(log->commands, ElementsAre("mix"));
    EXPECT_FALSE(editor->inspector()->includesMicrophone());

    log->commands.clear();
    timeline().addZoomPanClip(timeFromSeconds(1.5));
    ASSERT_EQ(current().timeline.zoomPanClips.size(), 1U);
    EXPECT_EQ(current().timeline.zoomPanClips[0].timeRange, test::rangeOfSeconds(0, 2))
        << "there is no more room";
    EXPECT_THAT(log->commands, ElementsAre("redraw"));

    while (editor->canUndo()) editor->undo();
    isLoaded();
    EXPECT_EQ(current(), project);
    EXPECT_EQ(padding.value(), 72);
    EXPECT_TRUE(editor->inspector()->includesMicrophone());
    EXPECT_TRUE(editor->canRedo());
    while (editor->canRedo()) editor->redo();
    isLoaded();
    EXPECT_EQ(clips().size(), 2U);
    EXPECT_EQ(padding.value(), 120);
}

TEST_F(EditorModelTest, TheTimelinesWishesBecomeEdits) {
    opens();
    const UUID first = *project.firstVideoClipID();
    timeline().trim(first, timeFromSeconds(0.5), timeFromSeconds(1), timeFromSeconds(2));
    EXPECT_EQ(clips()[0].trimRange, test::rangeOfSeconds(0.5, 1));
    isLoaded();
    timeline().splitClip(first, timeFromSeconds(0.5));
    isLoaded();
    timeline().setSelectedClipID(clips()[1].id);
    EXPECT_TRUE(timeline().canDelete());
    timeline().pressDelete();
    isLoaded();
    ASSERT_EQ(clips().size(), 1U);
    EXPECT_EQ(clips()[0].trimRange, test::rangeOfSeconds(0.5, 0.5));
    EXPECT_FALSE(timeline().canDelete()) << "the last one stays";

    timeline().addZoomPanClip(kCMTimeZero);
    const UUID zoom = current().timeline.zoomPanClips[0].id;
    timeline().trimZoomPanClip(zoom, kCMTimeZero, timeFromSeconds(0.2), timeFromSeconds(0.5));
    timeline().moveZoomPanClip(zoom, 0.25, timeFromSeconds(0.5));
    EXPECT_EQ(current().timeline.zoomPanClips[0].timeRange, test::rangeOfSeconds(0.25, 0.2));
    timeline().setSelectedZoomPanClipID(zoom);
    timeline().pressDelete();
    EXPECT_TRUE(current().timeline.zoomPanClips.empty());
    EXPECT_FALSE(timeline().selectedZoomPanClipID());
}

TEST_F(EditorModelTest, TheSelectionStaysInItsPlace) {
    opens();
    const auto selected = [&] {
        for (std::size_t i = 0; i < clips().size(); ++i) {
            if (clips()[i].id == timeline().selectedClipID()) return static_cast<int>(i);
        }
        return -1;
    };
    const auto cuts = [&](std::size_t index, double offsetSeconds) {
        timeline().splitClip(clips()[index].id, timeFromSeconds(offsetSeconds));
    };
    cuts(0, 0.5);
    EXPECT_EQ(selected(), 1) << "the half that begins at the cut";
    cuts(1, 0.5);
    cuts(2, 0.5);
    EXPECT_EQ(selected(), 3);
    cuts(0, 0.25);
    EXPECT_EQ(selected(), 4) << "another one was cut";
    editor->undo();
    EXPECT_EQ(selected(), 3);
    editor->undo();
    EXPECT_EQ(selected(), 2) << "what the halves are of";
    timeline().setSelectedClipID(clips()[1].id);
    timeline().pressDelete();
    EXPECT_EQ(selected(), 1) << "the following one";
    EXPECT_EQ(clips()[1].trimRange.start, timeFromSeconds(1));
    timeline().pressDelete();
    EXPECT_EQ(selected(), 0) << "the one before";
    timeline().setSelectedClipID(std::nullopt);
    cuts(0, 0.25);
    EXPECT_EQ(selected(), -1);
    isLoaded();
}

TEST_F(EditorModelTest, KeysStepByFramesAndToTheEnds) {
    opens();
    editor->stepFrames(1);
    EXPECT_EQ(editor->playback()->currentTime(), CMTime::make(1, 30));
    editor->stepFrames(-2);
    EXPECT_EQ(editor->playback()->currentTime(), kCMTimeZero);
    editor->goToEnd();
    EXPECT_EQ(editor->playback()->currentTime(), CMTime::make(2, 1));
    editor->goToStart();
    EXPECT_EQ(editor->playback()->currentTime(), kCMTimeZero);
    editor->togglePlayback();
    editor->stepFrames(1);
    EXPECT_FALSE(editor->playback()->isPlaying());
}

TEST_F(EditorModelTest, DraggingRestsPlayback) {
    opens();
    editor->togglePlayback();
    ASSERT_TRUE(editor->playback()->isPlaying());
    InspectorSlider& size = *editor->inspector()->cursorSliders()[0].value<InspectorSlider*>();
    size.drag(5);
    EXPECT_FALSE(editor->playback()->isPlaying());
    size.endDrag();
    EXPECT_TRUE(editor->playback()->isPlaying());

    size.drag(7);
    app->showExportView();
    EXPECT_EQ(size.value(), 5) << "what was being dragged is lost with the view";
    app->enterEditor();
    const std::size_t steps = undoSteps();
    size.endDrag();
    EXPECT_EQ(current().timeline.overlayConfiguration.cursor.size, 5);
    EXPECT_EQ(undoSteps(), steps) << "and no step of the history";
}

TEST_F(EditorModelTest, HistoryStandsStillDuringADrag) {
    opens();
    timeline().setViewWidth(848);  // 400 points a second
    timeline().addZoomPanClip(kCMTimeZero);
    timeline().trimZoomPanClip(current().timeline.zoomPanClips[0].id, kCMTimeZero, timeFromSeconds(0.5),
                               timeFromSeconds(2));
    editor->rename("One");
    editor->rename("Two");
    editor->undo();
    auto& padding = *editor->inspector()->backgroundSliders()[0].value<InspectorSlider*>();
    editor->cameraOverlay()->setPreviewSize({320, 180});
    const auto drags = [&](TimelineModel::Lane lane, double x, double toX) {
        return [this, lane, x, toX] {
            timeline().press(lane, {x, 5});
            timeline().drag(toX);
        };
    };
    const auto releases = [&] { timeline().release(300); };
    struct Case {
        const char* drag;
        std::function<void()> begin;
        std::function<void()> end;
    };
    for (const Case& test : {
             Case{"slider", [&] { padding.drag(100); }, [&] { padding.endDrag(); }},
             Case{"bubble", [&] { editor->cameraOverlay()->drag(-20, 20); },
                  [&] { editor->cameraOverlay()->endDrag(-20, 20); }},
             Case{"trim", drags(TimelineModel::Lane::Primary, 824 - 3, 624), releases},
             Case{"move of a zoom", drags(TimelineModel::Lane::ZoomPan, 124, 224), releases},
             Case{"trim of a zoom", drags(TimelineModel::Lane::ZoomPan, 224 - 3, 184), releases},
         }) {
        for (const bool redoes : {false, true}) {
            const Project before = current();
            const std::size_t steps = undoSteps();
            test.begin();
            if (redoes)
                editor->redo();
            else
                editor->undo();
            EXPECT_EQ(current(), before) << test.drag;
            test.end();
            EXPECT_EQ(undoSteps(), steps + 1) << test.drag;
            editor->undo();
            EXPECT_EQ(current(), before) << test.drag;
            EXPECT_TRUE(editor->canRedo()) << test.drag;
        }
    }
    drags(TimelineModel::Lane::Primary, 824 - 3, 624)();
    app->showExportView();
    app->enterEditor();
    const std::size_t steps = undoSteps();
    editor->undo();
    EXPECT_EQ(undoSteps(), steps - 1) << "a drag ends with the view that it was in";
    isLoaded();
}

TEST_F(EditorModelTest, ZoomsThatWereFoundDuringASaveAreProposedAfterIt) {
    const URL telemetry = directory.url().appending("cursor.json");
    CursorRecording cursor = test::pointerPath(2, [](double t) {
        return CGPoint{160 + 40 * std::cos(t), 90 + 30 * std::sin(t)};
    });
    cursor.captureRegion = {0, 0, 320, 180};
    cursor.activitySamples = {test::button(0.5, CursorActivityKind::leftMouseDown)};
    writeCursorRecording(cursor, telemetry);
    project.recordingSession.cursorRecordingURL = telemetry;
    app->beginProject(project);
    player->endsSeeks = false;
    editor->save();
    const auto waitsForItsFrame = [&] {
        return !editor->isSaving() && log->commands.size() >= 2 && log->commands.back() == "seek 0";
    };
    // The save has given the files other places, so the load that was under way has been overtaken.
    ASSERT_TRUE(eventually(waitsForItsFrame));
    ASSERT_TRUE(app->currentProjectFileURL());
    bool hasLoadedWhileSaving = false;
    QObject::connect(editor->playback(), &EditorPlaybackController::isLoadingChanged, editor->playback(),
                     [&] { hasLoadedWhileSaving = editor->isSaving(); });
    player->endSeek(true);
    editor->save();
    ASSERT_TRUE(eventually([&] { return !editor->isSaving() && !editor->playback()->isLoading(); }));
    if (!hasLoadedWhileSaving) GTEST_SKIP() << "The save was faster than the load.";
    EXPECT_EQ(current().timeline.zoomPanClips.size(), 1U);
    EXPECT_EQ(timeline().zoomPanClipCount(), 1);
    EXPECT_FALSE(editor->canUndo());
}

TEST_F(EditorModelTest, NamesAreOneStepAndSaved) {
    opens();
    editor->rename("  A name  ");
    EXPECT_EQ(current().name, "A name");
    editor->rename("A name");
    EXPECT_EQ(undoSteps(), 1U);
    QSignalSpy failed(editor.get(), &EditorModel::saveFailed);
    editor->save();
    EXPECT_TRUE(editor->isSaving());
    editor->rename("Too late");
    EXPECT_EQ(current().name, "A name") << "while it is saved it takes no edits";
    EXPECT_TRUE(eventually([&] { return !editor->isSaving(); }));
    ASSERT_TRUE(app->currentProjectFileURL());
    EXPECT_EQ(app->currentProjectFileURL()->stem(), "A name");
    EXPECT_EQ(failed.count(), 0);

    std::filesystem::remove_all(app->currentProjectFileURL()->parent().path());
    std::ofstream(app->currentProjectFileURL()->parent().path()) << "in the way";
    editor->rename("Another name");
    editor->save();
    EXPECT_TRUE(eventually([&] { return failed.count() == 1; }));
    EXPECT_FALSE(failed[0][0].toString().isEmpty());
}

TEST_F(EditorModelTest, ARecordingThatCantBeReadSaysWhy) {
    std::filesystem::remove(project.recordingSession.screenRecordingURL.path());
    app->beginProject(project);
    ASSERT_TRUE(eventually([&] { return editor->playback()->loadError().has_value(); }));
    EXPECT_THAT(editor->playback()->loadErrorText().toStdString(), testing::HasSubstr("screen60.mov"));
    editor->togglePlayback();
    editor->stepFrames(1);
    editor->rename("Still editable");
    EXPECT_EQ(current().name, "Still editable");
}

TEST_F(EditorModelTest, SourcesOfUnknownLengthAreTrimmedWithinWhatClipsTake) {
    project = test::recordProject(another.url(), 60);
    std::filesystem::remove(project.recordingSession.screenRecordingURL.path());
    app->beginProject(project);
    const auto dragsTrailingEdge = [&](double fromSeconds, double toSeconds) {
        timeline().press(TimelineModel::Lane::Primary, {timeline().viewX(fromSeconds) - 3, 5});
        timeline().drag(timeline().viewX(toSeconds) - 3);
        timeline().release(timeline().viewX(toSeconds) - 3);
        return clips()[0].trimRange.end().seconds();
    };
    timeline().setViewWidth(848);
    EXPECT_NEAR(dragsTrailingEdge(2, 1.5), 1.5, 0.01) << "while it loads";
    ASSERT_TRUE(eventually([&] { return editor->playback()->loadError().has_value(); }));
    EXPECT_NEAR(dragsTrailingEdge(1.5, 1), 1, 0.01) << "after a load that failed";
    EXPECT_NEAR(dragsTrailingEdge(1, 1.25), 1.25, 0.01);
    EXPECT_EQ(dragsTrailingEdge(1.25, 9), 2) << "that far there is something";
}

TEST_F(EditorModelTest, ASaveThatMovesTheSourcesLeavesClipsTheirMaterial) {
    opens();
    timeline().setViewWidth(848);
    std::optional<TimelineTrimDraft> draft;
    // As soon as the files lie elsewhere, before they have been measured there.
    const auto dragsOnceMoved = [&] {
        if (clips()[0].sourceURL == project.recordingSession.screenRecordingURL || draft) return;
        EXPECT_FALSE(editor->playback()->assetDurations().contains(clips()[0].sourceURL));
        timeline().press(TimelineModel::Lane::Primary, {timeline().viewX(2) - 3, 5});
        timeline().drag(timeline().viewX(1.5) - 3);
        draft = timeline().trimDraft();
        timeline().cancelDrag();
    };
    QObject::connect(app.get(), &AppState::currentProjectChanged, editor.get(), dragsOnceMoved);
    editor->save();
    ASSERT_TRUE(eventually([&] { return draft.has_value(); }));
    EXPECT_NEAR(draft->durationSeconds, 1.5, 0.01);
    isLoaded();
}

TEST_F(EditorModelTest, WhatDisablesItselfPassesTheKeyboardOn) {
    opens();
    editor->rename("Another");
    MenuModel menu;
    test::ShownView view(
        "Varnelle/Editor", "EditorToolbar",
        {{"model", QVariant::fromValue(editor.get())}, {"programMenu", QVariant::fromValue(&menu)}},
        {900, 52}, &qml_register_types_Varnelle_Editor);
    const auto focusBecomes = [&](const char* name) {
        return QTest::qWaitFor([&] { return view.focused() == name; });
    };
    view.item("undoButton").forceActiveFocus();
    view.press(Qt::Key_Space);
    EXPECT_TRUE(focusBecomes("redoButton")) << view.focused().toStdString();
    view.press(Qt::Key_Return);
    EXPECT_TRUE(focusBecomes("undoButton")) << view.focused().toStdString();
    // Without either, it is the next control.
    closes();
    app->beginProject(test::recordProject(another.url(), 30));
    EXPECT_TRUE(QTest::qWaitFor([&] {
        const QQuickItem* focused = view.window.activeFocusItem();
        return focused != nullptr && focused->parentItem() == &view.item("nameField");
    }));

    test::ShownView inspector("Varnelle/Editor", "InspectorView",
                              {{"model", QVariant::fromValue(editor->inspector())}}, {300, 500},
                              &qml_register_types_Varnelle_Editor);
    editor->inspector()->setActiveTab(InspectorModel::SidebarTab::Background);
    auto& padding = *editor->inspector()->backgroundSliders()[0].value<InspectorSlider*>();
    padding.drag(7);
    padding.endDrag();
    for (int i = 0; i < 20 && inspector.focused() != "resetPadding"; ++i) inspector.press(Qt::Key_Tab);
    ASSERT_EQ(inspector.focused(), "resetPadding");
    inspector.press(Qt::Key_Space);
    EXPECT_TRUE(padding.isAtResetValue());
    EXPECT_TRUE(QTest::qWaitFor([&] { return inspector.focused() == "sliderPadding"; }))
        << inspector.focused().toStdString();
}

}  // namespace
}  // namespace varnelle
