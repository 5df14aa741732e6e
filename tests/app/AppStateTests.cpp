#include "app/AppState.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <QCoreApplication>
#include <QDeadlineTimer>

#include "FakePermissions.h"
#include "FakeUpdater.h"
#include "FakeWindows.h"
#include "app/CheckForUpdatesViewModel.h"
#include "app/ProjectOpenCoordinator.h"
#include "foundation/AtomicFile.h"
#include "foundation/HostClock.h"
#include "foundation/Log.h"
#include "model/ProjectLifecycle.h"
#include "model/ProjectPackage.h"
#include "recording/FakeDesktop.h"
#include "recording/SyntheticMedia.h"
#include "support/MediaFixtures.h"
#include "support/MemoryDefaults.h"
#include "support/SampleProject.h"
#include "support/TemporaryDirectory.h"
#include "support/Waiting.h"
#include "tasks/Await.h"

namespace varnelle {
namespace {

using enum ProjectAlertAnswer;

/// Runs the event loop until the condition holds; false after ten seconds.
template <typename Condition>
bool eventually(Condition condition) {
    const QDeadlineTimer deadline(10'000);
    while (!condition()) {
        if (deadline.hasExpired()) return false;
        QCoreApplication::processEvents(QEventLoop::WaitForMoreEvents, 10);
    }
    return true;
}

/// A user at the program. What the user does reads as a verb; what is seen is in `windows` and `app`.
class AppStateTest : public ::testing::Test {
protected:
    AppStateTest() {
        std::filesystem::create_directories(home().path());
        std::filesystem::create_directories(temporary().path());
    }

    [[nodiscard]] URL home() const { return directory_.file("home"); }
    [[nodiscard]] URL temporary() const { return directory_.file("tmp"); }
    [[nodiscard]] URL package(const std::string& name) const {
        return home().appending("Varnelle Projects").appending(name + ".varnelle");
    }
    [[nodiscard]] URL session(const std::string& name) const {
        return sessionsDirectory(temporary()).appending(name);
    }
    static void makeSession(const URL& url) {
        std::filesystem::create_directories(url.path());
        writeFileAtomically(url.appending("screen.mov"), "moving pictures");
    }

    void launches() {
        app = std::make_unique<AppState>(windows, desktop, makeCamera, permissions, updater, defaults, opener,
                                         AppState::Directories{home(), temporary()});
        QCoreApplication::sendPostedEvents();
    }
    /// On a desktop whose screen delivers, with nothing else to wait for.
    void launchesReadyToRecord() {
        desktop.onStart = [this] {
            desktop.deliver(ScreenStream::OutputType::screen, test::screenSample(hostTimeNow()));
        };
        launches();
        await(app->refreshCaptureSources());
        app->captureSources().setCameraEnabled(false);
        app->captureSources().setSystemAudioEnabled(false);
    }
    /// Records, and lands in the editor with an unsaved project.
    void records(const std::string& name) {
        makeSession(session(name));
        app->beginProject(test::projectIn(session(name), 10));
    }
    void renames(const std::string& name) {
        app->editProject([&](TimelineEditor& editor) {
            Project renamed = editor.project();
            renamed.name = name;
            editor.commit(std::move(renamed));
        });
    }
    void cuts(double seconds) {
        app->editProject([&](TimelineEditor& editor) {
            editor.splitClip(*editor.project().firstVideoClipID(), 0, timeFromSeconds(seconds));
        });
    }
    void closesTheWindow() { EXPECT_FALSE(app->mainWindowShouldClose()); }
    void opens(const std::vector<URL>& urls) { opener.open(urls); }
    void answers(ProjectAlertAnswer answer) {
        ASSERT_TRUE(windows.alert.has_value());
        windows.answer(answer);
        ASSERT_TRUE(eventually([&] { return !app->isSavingProject(); }));
    }
    /// A saved project with one edit in its history; the program shows the dock bar again.
    void hasSaved(const std::string& name) {
        records(name);
        cuts(4);
        closesTheWindow();
        answers(save);
        ASSERT_TRUE(package(name).exists());
    }

    [[nodiscard]] bool seesTheDockBar() const {
        return app->mode() == AppMode::setup && app->isDockBarVisible() && windows.isDockBarShown &&
               !windows.isMainWindowShown && !app->currentProject() && app->timelineEditor() == nullptr;
    }
    [[nodiscard]] bool seesTheEditorOf(const std::string& name) const {
        return app->mode() == AppMode::editing && !windows.isDockBarShown && windows.isMainWindowShown &&
               app->currentProject() && app->currentProject()->name == name;
    }

    const test::TemporaryDirectory directory_;
    test::FakeWindows windows;
    test::FakeDesktop desktop;
    CameraFactory makeCamera = [](const auto&) -> std::shared_ptr<CameraFeed> {
        throw Error("There is no camera.");
    };
    test::FakePermissions permissions;
    test::FakeUpdater updater;
    test::MemoryDefaults defaults;
    ProjectOpenCoordinator opener;
    std::unique_ptr<AppState> app;
};

TEST_F(AppStateTest, LaunchesToTheDockBar) {
    launches();
    EXPECT_TRUE(seesTheDockBar());
    EXPECT_EQ(windows.selectionPanelCloses, 1);
    EXPECT_EQ(windows.activations, 1);
}

TEST_F(AppStateTest, AsksForPermissionsFirst) {
    for (bool test::FakePermissions::*missing :
         {&test::FakePermissions::screen, &test::FakePermissions::accessibility}) {
        windows = {};
        permissions = {};
        permissions.*missing = false;
        launches();
        EXPECT_TRUE(windows.isPermissionsWindowShown);
        EXPECT_FALSE(windows.isDockBarShown);
        EXPECT_FALSE(app->permissionsWindowShouldClose()) << "there is no life without them";
        EXPECT_TRUE(windows.isQuitRequested);

        app->finishPermissions();
        EXPECT_TRUE(app->permissionsWindowShouldClose());
        EXPECT_TRUE(eventually([&] { return seesTheDockBar(); }));
        EXPECT_FALSE(windows.isPermissionsWindowShown);
    }
}

TEST_F(AppStateTest, OpensAFileThatCameBeforeTheProgramWasThere) {
    launches();
    hasSaved("Talk");
    app.reset();
    windows = {};

    opens({home().appending("notes.txt"), package("Talk")});
    launches();
    EXPECT_FALSE(windows.isDockBarShown) << "the launch leaves the screen to the project";
    EXPECT_TRUE(eventually([&] { return seesTheEditorOf("Talk"); }));
    EXPECT_EQ(app->currentProjectFileURL(), package("Talk"));
    EXPECT_EQ(app->exportFilename(), "Talk");
    EXPECT_EQ(app->currentRecordingURL(), package("Talk").appending("Assets/screen.mov"));
    EXPECT_TRUE(windows.errors.empty());
}

TEST_F(AppStateTest, FinishesASaveThatWasKilled) {
    launches();
    hasSaved("Talk");
    app.reset();
    const std::string staging = "." + package("Talk").lastPathComponent() + "-" + UUID::random().string();
    std::filesystem::rename(package("Talk").path(), package("Talk").parent().appending(staging).path());

    launches();
    await(app->openFiles({package("Talk")}));
    EXPECT_TRUE(seesTheEditorOf("Talk"));

    const URL stick = directory_.file("stick");
    std::filesystem::create_directories(stick.path());
    std::filesystem::rename(package("Talk").path(), stick.appending(staging).path());
    await(app->openFiles({stick.appending("Talk.varnelle")}));
    EXPECT_TRUE(seesTheEditorOf("Talk")) << "elsewhere too";
}

TEST_F(AppStateTest, OtherFilesAreDroppedWithoutAWord) {
    launches();
    opens({home().appending("notes.txt"), home()});
    QCoreApplication::processEvents();
    EXPECT_TRUE(seesTheDockBar());
    EXPECT_TRUE(windows.errors.empty());
}

TEST_F(AppStateTest, RecordsSavesAndFindsEverythingAgain) {
    launches();
    records("recording_1");
    EXPECT_TRUE(seesTheEditorOf("recording_1"));
    renames("  a/b:c ");
    cuts(4);
    app->editProject([](TimelineEditor& editor) {
        Project mirrored = editor.project();
        mirrored.timeline.overlayConfiguration.isMirrored = true;
        editor.commit(std::move(mirrored));
    });
    closesTheWindow();
    ASSERT_TRUE(windows.alert);
    EXPECT_EQ(windows.alert->message, "Do you want to save this Varnelle project before closing?");
    answers(save);
    EXPECT_TRUE(eventually([&] { return seesTheDockBar(); }));
    EXPECT_TRUE(package("a-b-c").exists());
    EXPECT_FALSE(session("recording_1").exists()) << "its media lives in the package now";

    opens({package("a-b-c")});
    ASSERT_TRUE(eventually([&] { return seesTheEditorOf("a-b-c"); }));
    EXPECT_TRUE(app->cameraBubbleLayout().isMirrored);
    EXPECT_EQ(app->currentProject()->timeline.tracks[0].clips.size(), 2U);
    for (int i = 0; i < 3; ++i) app->editProject([](TimelineEditor& editor) { editor.undo(); });
    EXPECT_EQ(app->currentProject()->name, "recording_1");
    EXPECT_FALSE(app->timelineEditor()->canUndo());
    for (int i = 0; i < 3; ++i) app->editProject([](TimelineEditor& editor) { editor.redo(); });

    closesTheWindow();
    EXPECT_EQ(windows.alertCount, 1) << "nothing has changed since";
    EXPECT_TRUE(eventually([&] { return seesTheDockBar(); }));
}

TEST_F(AppStateTest, AnEditAndItsUndoCountAsAChange) {
    launches();
    hasSaved("Talk");
    await(app->openFiles({package("Talk")}));
    cuts(2);
    app->editProject([](TimelineEditor& editor) { editor.undo(); });
    closesTheWindow();
    EXPECT_TRUE(windows.alert);
}

/// Every action with every answer, for a project that was never saved and for one with a package.
TEST_F(AppStateTest, EachAnswerToEachQuestion) {
    launches();
    hasSaved("Other");
    int round = 0;
    for (const bool hasPackage : {false, true}) {
        for (const ProjectAlertAnswer answer : {save, deleteProject, cancel}) {
            for (const ProjectTransitionAction& action :
                 {ProjectTransitionAction(OpenProject{package("Other")}),
                  ProjectTransitionAction(CloseWindow{}), ProjectTransitionAction(NewRecording{}),
                  ProjectTransitionAction(QuitApplication{})}) {
                SCOPED_TRACE(testing::Message() << "package " << hasPackage << ", answer "
                                                << static_cast<int>(answer) << ", action " << action.index());
                const std::string name = "Talk " + std::to_string(++round);
                const bool isQuitting = std::holds_alternative<QuitApplication>(action);
                windows.terminationReply.reset();
                if (hasPackage) {
                    hasSaved(name);
                    await(app->openFiles({package(name)}));
                } else {
                    records(name);
                }
                cuts(1);
                const Project edited = *app->currentProject();

                if (isQuitting) {
                    EXPECT_EQ(app->applicationShouldTerminate(), TerminationReply::later);
                } else {
                    await(app->requestProjectTransition(action));
                }
                ASSERT_TRUE(windows.alert);
                EXPECT_EQ(windows.alert->message.find("quitting") != std::string::npos, isQuitting);
                EXPECT_EQ(app->pendingProjectAlertAction(), action);
                answers(answer);

                EXPECT_FALSE(app->pendingProjectAlertAction());
                EXPECT_TRUE(windows.errors.empty());
                EXPECT_EQ(windows.terminationReply,
                          isQuitting ? std::optional(answer != cancel) : std::nullopt);
                if (answer == cancel) {
                    EXPECT_TRUE(seesTheEditorOf(name));
                    EXPECT_EQ(app->currentProject(), edited);
                    await(app->requestProjectTransition(CloseWindow{}));
                    answers(deleteProject);
                } else if (std::holds_alternative<OpenProject>(action)) {
                    EXPECT_TRUE(eventually([&] { return seesTheEditorOf("Other"); }));
                    await(app->requestProjectTransition(CloseWindow{}));
                } else {
                    EXPECT_TRUE(isQuitting ? !app->currentProject().has_value() : seesTheDockBar());
                }
                EXPECT_FALSE(session(name).exists());
                EXPECT_EQ(package(name).exists(), hasPackage || answer == save);
                if (package(name).exists()) {
                    const std::size_t clips =
                        readPackage(package(name)).currentProject.timeline.tracks[0].clips.size();
                    EXPECT_EQ(clips, 1U + (hasPackage ? 1 : 0) + (answer == save ? 1 : 0));
                }
            }
        }
    }
}

TEST_F(AppStateTest, OneQuestionAtATime) {
    launches();
    hasSaved("A");
    hasSaved("B");
    records("Talk");
    windows.alertCount = 0;

    opens({package("A"), package("B")});
    EXPECT_EQ(windows.alertCount, 1);
    closesTheWindow();
    EXPECT_EQ(app->applicationShouldTerminate(), TerminationReply::cancel);
    opens({package("B")});
    EXPECT_EQ(windows.alertCount, 1);
    EXPECT_EQ(app->pendingProjectAlertAction(), ProjectTransitionAction(OpenProject{package("A")}));

    answers(deleteProject);
    EXPECT_TRUE(eventually([&] { return seesTheEditorOf("A"); })) << "the second was dropped";
    EXPECT_FALSE(windows.terminationReply);
}

TEST_F(AppStateTest, OfTwoPackagesAtOnceTheLastStaysOpen) {
    launches();
    hasSaved("A");
    hasSaved("B");
    await(app->openFiles({package("A"), package("B")}));
    EXPECT_TRUE(seesTheEditorOf("B"));
    // The first is overtaken while it is still being read.
    opens({package("A")});
    opens({package("B")});
    EXPECT_TRUE(eventually([&] { return seesTheEditorOf("B"); }));
    EXPECT_EQ(app->applicationShouldTerminate(), TerminationReply::now);

    opens({package("A")});
    await(app->requestProjectTransition(NewRecording{}));
    await(app->openFiles({home().appending("gone.varnelle")}));  // read after A, in the same queue
    EXPECT_TRUE(seesTheDockBar()) << "the user went elsewhere while A was being read";
}

TEST_F(AppStateTest, LateResultsFindTheProgramGone) {
    launches();
    records("Talk");
    for (int i = 0; i < 500; ++i) renames("Talk " + std::to_string(i));  // takes a while to read
    renames("Talk");
    closesTheWindow();
    answers(save);
    const QCoro::Task<> opening = app->openFiles({package("Talk")});
    ASSERT_FALSE(opening.isReady());
    app.reset();
    EXPECT_TRUE(eventually([&] { return opening.isReady(); }));
    EXPECT_FALSE(windows.isMainWindowShown);

    launches();
    records("Late");
    const QCoro::Task<> saving = app->saveCurrentProject();
    app.reset();
    EXPECT_TRUE(eventually([&] { return saving.isReady(); }));
    EXPECT_TRUE(package("Late").exists());
}

TEST_F(AppStateTest, WhatCannotBeOpenedIsToldAtTheDockBar) {
    launches();
    hasSaved("Talk");
    const URL plainFile = home().appending("file.varnelle");
    writeFileAtomically(plainFile, "plain");
    const URL withoutManifest = home().appending("Folder.Varnelle");
    std::filesystem::create_directories(withoutManifest.path());
    const URL damaged = home().appending("damaged.varnelle");
    std::filesystem::copy(package("Talk").path(), damaged.path(), std::filesystem::copy_options::recursive);
    writeFileAtomically(damaged.appending("project.json"), "{\"formatVersion\": 2");

    for (const URL& url : {plainFile, withoutManifest, damaged, home().appending("gone.varnelle")}) {
        await(app->openFiles({package("Talk")}));
        ASSERT_TRUE(seesTheEditorOf("Talk"));
        windows.errors.clear();
        const auto entries = std::distance(std::filesystem::recursive_directory_iterator(home().path()), {});
        await(app->openFiles({url}));
        EXPECT_TRUE(seesTheDockBar());
        ASSERT_EQ(windows.errors.size(), 1U);
        EXPECT_NE(windows.errors[0].find(url.lastPathComponent()), std::string::npos) << windows.errors[0];
        EXPECT_EQ(std::distance(std::filesystem::recursive_directory_iterator(home().path()), {}), entries);
    }
}

TEST_F(AppStateTest, AFailedSaveKeepsTheProjectOpen) {
    launches();
    records("Talk");
    std::filesystem::remove_all(home().path());
    writeFileAtomically(home(), "a home directory that can't be written");

    EXPECT_EQ(app->applicationShouldTerminate(), TerminationReply::later);
    answers(save);
    EXPECT_TRUE(seesTheEditorOf("Talk"));
    EXPECT_EQ(windows.terminationReply, false);
    ASSERT_EQ(windows.errors.size(), 1U);
    EXPECT_NE(windows.errors[0].find("Varnelle Projects"), std::string::npos) << windows.errors[0];
    await(app->openFiles({directory_.file("other.varnelle")}));
    answers(save);
    EXPECT_TRUE(seesTheEditorOf("Talk")) << "the other file isn't opened";
    EXPECT_EQ(windows.errors.size(), 2U);
    EXPECT_TRUE(session("Talk").appending("screen.mov").exists());
    EXPECT_EQ(directory_.entryCount(), 2U) << "nothing was left beside the home directory";

    closesTheWindow();
    EXPECT_EQ(windows.alertCount, 3) << "the user can try again";
}

TEST_F(AppStateTest, ThePackageFollowsTheProjectsName) {
    launches();
    hasSaved("name");
    hasSaved("name");
    EXPECT_TRUE(package("name 2").exists()) << "two projects of one name";

    await(app->openFiles({package("name")}));
    cuts(1);
    await(app->saveCurrentProject());
    EXPECT_EQ(app->currentProjectFileURL(), package("name")) << "saved over itself";
    renames("better");
    await(app->saveCurrentProject());
    EXPECT_EQ(app->currentProjectFileURL(), package("better"));
    EXPECT_FALSE(package("name").exists());
    renames("   ");
    await(app->saveCurrentProject());
    EXPECT_EQ(app->currentProjectFileURL(), package("Varnelle Project"));
    EXPECT_EQ(app->currentProject()->name, "Varnelle Project");
    EXPECT_EQ(app->applicationShouldTerminate(), TerminationReply::now);
    EXPECT_TRUE(app->currentProject()->recordingSession.screenRecordingURL.exists());
}

TEST_F(AppStateTest, TakesNoEditsWhileItSaves) {
    launches();
    records("Talk");
    QCoro::Task<> saving = app->saveCurrentProject();
    EXPECT_TRUE(app->isSavingProject());
    cuts(3);
    EXPECT_FALSE(app->timelineEditor()->canUndo());
    closesTheWindow();
    EXPECT_EQ(app->applicationShouldTerminate(), TerminationReply::cancel);
    EXPECT_FALSE(windows.alert);
    await(std::move(saving));
    EXPECT_EQ(app->currentProject()->timeline.tracks[0].clips.size(), 1U);
    cuts(3);
    EXPECT_EQ(app->currentProject()->timeline.tracks[0].clips.size(), 2U);
}

TEST_F(AppStateTest, WhatIsAskedForDuringASaveComesAfterIt) {
    launches();
    hasSaved("Other");
    records("Talk");
    QCoro::Task<> saving = app->saveCurrentProject();
    opens({package("Other")});
    EXPECT_TRUE(seesTheEditorOf("Talk"));
    EXPECT_TRUE(eventually([&] { return seesTheEditorOf("Other"); }));
    await(std::move(saving));
    EXPECT_TRUE(package("Talk").exists());
    EXPECT_FALSE(windows.alert) << "it was saved";

    renames("Another");
    saving = app->saveCurrentProject();
    ExportSettings settings;
    settings.outputDirectory = directory_.file("movies");
    app->startExport(settings);
    EXPECT_FALSE(app->isExporting()) << "the files are on their way elsewhere";
    EXPECT_EQ(app->exportError(), "The project is being saved. Please export it after that.");
    await(std::move(saving));

    std::filesystem::remove_all(package("Another").path());
    writeFileAtomically(package("Another"), "no folder any more");
    cuts(2);
    const QCoro::Task<> failing = app->saveCurrentProject();
    // It may have failed already, and then there is nothing to wait for.
    if (app->isSavingProject()) app->requestProjectTransition(OpenProject{package("Other")});
    EXPECT_TRUE(eventually([&] { return !app->isSavingProject(); }));
    EXPECT_TRUE(eventually([&] { return failing.isReady(); }));
    QCoreApplication::processEvents();
    EXPECT_TRUE(app->currentProject() && app->currentProject()->name == "Another") << "it isn't saved";
    EXPECT_FALSE(windows.alert);
}

TEST_F(AppStateTest, RemovesNothingBesideItsOwnSessions) {
    launches();
    const URL elsewhere = directory_.file("elsewhere");
    makeSession(elsewhere);
    std::filesystem::create_directories(sessionsDirectory(temporary()).path());
    std::filesystem::create_directory_symlink(elsewhere.path(), session("link").path());
    const URL lookalike = URL(sessionsDirectory(temporary()).string() + " of others");
    makeSession(lookalike);
    for (const URL& url : {elsewhere, session("link"), lookalike, sessionsDirectory(temporary())}) {
        app->beginProject(test::projectIn(url, 10));
        closesTheWindow();
        answers(deleteProject);
        EXPECT_TRUE(seesTheDockBar());
    }
    records("Talk");
    closesTheWindow();
    answers(deleteProject);
    app.reset();  // whose queue ends first what it has begun
    EXPECT_TRUE(session("link").exists());
    const std::filesystem::directory_iterator sessions(sessionsDirectory(temporary()).path());
    EXPECT_EQ(std::distance(sessions, {}), 1) << "the link alone is left";
    EXPECT_TRUE(elsewhere.appending("screen.mov").exists());
    EXPECT_TRUE(lookalike.appending("screen.mov").exists());
}

TEST_F(AppStateTest, RecoversRecordingsThatWereNeverEndedOrSaved) {
    const auto crashesDuring = [&](const std::string& name) {
        makeSession(session(name));
        test::writeNumberedMovie(session(name).appending("screen.mov"), test::smallVideo(320, 240),
                                 test::regularTimes(60, 30));
    };
    crashesDuring("First");
    crashesDuring("Second");
    const RecordingSession noted = test::sessionIn(session("Second"));
    writeSessionNote(noted);
    makeSession(session("without pictures"));
    makeSession(session(".discarded-4711"));
    launches();
    const std::vector<RecoverableSession> found = await(app->recoverableSessions());
    ASSERT_EQ(found.size(), 2U);
    EXPECT_FALSE(session(".discarded-4711").exists()) << "what was set aside is removed at last";
    EXPECT_TRUE(session("without pictures").exists());
    const RecoverableSession& first = found[0].session.directoryURL == session("First") ? found[0] : found[1];
    EXPECT_EQ(first.session.renderSize, (CGSize{320, 240})) << "without a note it is the movie's";
    EXPECT_EQ(first.session.cursorRecordingURL, std::nullopt);
    EXPECT_NEAR(first.duration.seconds(), 2, 0.1);
    const RecoverableSession& second = &first == found.data() ? found[1] : found[0];
    EXPECT_EQ(second.session.id, noted.id);
    EXPECT_EQ(second.session.renderSize, noted.renderSize);

    app->recoverSession(first);
    EXPECT_EQ(app->currentProject()->recordingSession, first.session);
    EXPECT_TRUE(app->mode() == AppMode::editing);
    app->recoverSession(second);
    EXPECT_EQ(app->currentProject()->recordingSession, first.session) << "one at a time";
    ASSERT_EQ(await(app->recoverableSessions()).size(), 1U) << "what is open isn't offered";
    {
        const DirectoryLock other = DirectoryLock::shared(session("Second"));
        app->deleteRecoverableSession(second);
        EXPECT_TRUE(session("Second").exists()) << "another program was offered it, too, and has it open";
        EXPECT_EQ(windows.errors.size(), 1U);
    }
    app->deleteRecoverableSession(second);
    EXPECT_TRUE(await(app->recoverableSessions()).empty());
    EXPECT_FALSE(session("Second").exists());
    app.reset();
    launches();
    app->recoverSession(second);
    EXPECT_FALSE(app->currentProject()) << "it is gone";
    EXPECT_EQ(windows.errors.size(), 2U);
    EXPECT_EQ(await(app->recoverableSessions()).size(), 1U) << "it was never saved";
}

TEST_F(AppStateTest, RecordsAndLandsInTheEditor) {
    launchesReadyToRecord();
    std::vector<RecordingState> states;
    QObject::connect(&app->recordingFlow(), &RecordingFlow::recordingStateChanged, &app->recordingFlow(),
                     [&] { states.push_back(app->recordingFlow().recordingState()); });
    await(app->toggleRecording());
    EXPECT_EQ(app->mode(), AppMode::recording);
    EXPECT_TRUE(windows.isAccessory);
    EXPECT_TRUE(windows.isRecordingPreviewShown);
    EXPECT_TRUE(app->recordingFlow().isRecordingMenuBarVisible());
    EXPECT_FALSE(windows.isDockBarShown);
    ASSERT_TRUE(eventually([&] { return app->recordingFlow().recordingDuration() > 0.3; }));

    await(app->toggleRecording());
    EXPECT_EQ(app->recordingFlow().recordingState(), RecordingState::idle);
    EXPECT_THAT(states, testing::ElementsAre(RecordingState::preparing, RecordingState::recording,
                                             RecordingState::stopping, RecordingState::idle));
    EXPECT_FALSE(app->recordingFlow().isRecordingMenuBarVisible());
    EXPECT_EQ(windows.fades, 1);
    EXPECT_FALSE(windows.isAccessory);
    EXPECT_FALSE(windows.isRecordingPreviewShown);
    EXPECT_EQ(app->mode(), AppMode::editing);
    ASSERT_TRUE(app->currentProject().has_value());
    EXPECT_EQ(app->currentProjectFileURL(), std::nullopt);
    EXPECT_EQ(app->exportFilename(), app->currentProject()->name);
    const CMTime duration = app->currentProject()->timeline.tracks[0].clips[0].trimRange.duration;
    EXPECT_GE(duration.seconds(), 0.3);
    await(app->startRecording());
    EXPECT_EQ(app->recordingFlow().recordingState(), RecordingState::idle) << "a project is open";
}

TEST_F(AppStateTest, QuitsOnlyWhenTheRecordingIsAProject) {
    launchesReadyToRecord();
    QCoro::Task<> starting = app->startRecording();
    ASSERT_NE(app->recordingFlow().recordingState(), RecordingState::idle);
    EXPECT_EQ(app->applicationShouldTerminate(), TerminationReply::later);
    EXPECT_EQ(app->applicationShouldTerminate(), TerminationReply::later) << "an impatient user asks again";
    await(std::move(starting));
    ASSERT_TRUE(eventually([&] { return windows.isQuitRequested; }));
    EXPECT_EQ(windows.terminationReply, false) << "the first request; the one that follows asks to save";
    EXPECT_EQ(app->mode(), AppMode::editing);
    EXPECT_EQ(app->applicationShouldTerminate(), TerminationReply::later);
    answers(deleteProject);
    EXPECT_EQ(windows.terminationReply, true);
}

TEST_F(AppStateTest, NothingOpensWhileARecordingIsOnItsWay) {
    launchesReadyToRecord();
    makeSession(session("Stray"));
    const RecoverableSession stray{test::sessionIn(session("Stray")), timeFromSeconds(1), 0};
    const auto comesInBetween = [&] {
        app->recoverSession(stray);
        await(app->openFiles({package("Talk")}));
        app->finishPermissions();
        QCoreApplication::processEvents();
    };
    // One that was asked for before, and can't be read.
    const QCoro::Task<> opening = app->openFiles({package("Gone")});
    ASSERT_FALSE(opening.isReady());
    QCoro::Task<> starting = app->startRecording();
    EXPECT_TRUE(eventually([&] { return opening.isReady(); }));
    comesInBetween();
    await(std::move(starting));
    comesInBetween();
    EXPECT_EQ(app->mode(), AppMode::recording);
    EXPECT_FALSE(app->isDockBarVisible());
    EXPECT_FALSE(app->currentProject().has_value());
    EXPECT_TRUE(windows.errors.empty());
    await(app->stopRecording());
    ASSERT_TRUE(app->currentProject().has_value());
    EXPECT_NE(app->currentProject()->recordingSession.directoryURL, session("Stray"));
}

TEST_F(AppStateTest, ChecksForUpdatesAtTheStartAndWhenAsked) {
    launches();
    EXPECT_TRUE(updater.isAutomatic);
    EXPECT_EQ(updater.backgroundChecks, 1);
    CheckForUpdatesViewModel menuItem(updater);
    menuItem.checkForUpdates();
    EXPECT_EQ(updater.checks, 0) << "without a feed there is nothing to ask";
    int changes = 0;
    QObject::connect(&menuItem, &CheckForUpdatesViewModel::canCheckForUpdatesChanged, [&] { ++changes; });
    updater.setCanCheck(true);
    updater.setCanCheck(true);
    EXPECT_EQ(changes, 1);
    menuItem.checkForUpdates();
    EXPECT_EQ(updater.checks, 1);
}

TEST_F(AppStateTest, RecordingThatFailsLandsAtTheDockBar) {
    test::Inbox<std::string> log;
    const LogObserver observer(LogCategory::app, [&log](const std::string& line) { log.put(line); });
    desktop.cameraList = {{"cam", "Camera"}};
    makeCamera = [](const auto&) { return std::make_shared<test::FakeCamera>(); };
    launches();
    await(app->refreshCaptureSources());
    app->captureSources().setCameraEnabled(false);
    desktop.failsStart = true;
    await(app->startRecording());
    EXPECT_TRUE(seesTheDockBar());
    EXPECT_EQ(app->recordingFlow().recordingState(), RecordingState::idle);
    EXPECT_THAT(log.items(), testing::Contains(testing::StartsWith("Recording failed: ")));

    desktop.failsStart = false;
    desktop.onStart = [this] {
        desktop.deliver(ScreenStream::OutputType::screen, test::screenSample(hostTimeNow()));
    };
    app->captureSources().setSystemAudioEnabled(false);
    await(app->startRecording());
    ASSERT_EQ(app->mode(), AppMode::recording);
    app->captureSources().setCameraEnabled(true);
    std::filesystem::remove_all(sessionsDirectory(temporary()).path());
    await(app->stopRecording());
    EXPECT_TRUE(seesTheDockBar());
    EXPECT_EQ(windows.fades, 1);
    EXPECT_TRUE(eventually([&] { return app->setupCameraPreview().camera() != nullptr; }));
    EXPECT_THAT(log.items(), testing::Contains(testing::StartsWith("Stop recording failed: ")));
}

TEST_F(AppStateTest, GoesToTheExportViewAndBack) {
    launches();
    records("Talk");
    app->showExportView();
    EXPECT_EQ(app->mode(), AppMode::exporting);
    windows.isMainWindowShown = false;
    app->applicationShouldHandleReopen();
    EXPECT_TRUE(windows.isMainWindowShown) << "the user came back to the program";
    app->enterEditor();
    EXPECT_TRUE(seesTheEditorOf("Talk"));
    app->showExportView();
    await(app->requestProjectTransition(NewRecording{}));
    answers(deleteProject);
    EXPECT_TRUE(seesTheDockBar());
    permissions.accessibility = false;
    app->applicationShouldHandleReopen();
    EXPECT_TRUE(windows.isPermissionsWindowShown);
    app->finishPermissions();

    records("Second");
    windows.isMainWindowShown = false;
    app->applicationShouldHandleReopen();
    app->finishPermissions();
    QCoreApplication::processEvents();
    EXPECT_TRUE(seesTheEditorOf("Second")) << "granting a permission leaves the project open";
}

TEST_F(AppStateTest, ExportsWhereItMayAndClosingEndsIt) {
    launches();
    const URL movies = directory_.file("movies");
    const auto exportSettings = [&] {
        ExportSettings settings;
        settings.outputDirectory = movies;
        settings.customFilename = "Talk";
        return settings;
    };
    const auto recordsPictures = [&] {
        makeSession(session("Talk"));
        RecordingSession recorded = test::sessionIn(session("Talk"));
        recorded.renderSize = {320, 240};
        test::writeNumberedMovie(recorded.screenRecordingURL, test::smallVideo(320, 240),
                                 test::regularTimes(120, 30));
        app->beginProject(Project::make(recorded, timeFromSeconds(4), OverlayConfiguration{}));
    };
    await(app->startExport(exportSettings()));
    EXPECT_TRUE(seesTheDockBar()) << "there is nothing to export";

    recordsPictures();
    writeFileAtomically(movies, "no folder");
    await(app->startExport(exportSettings()));
    await(app->startExport(exportSettings()));
    EXPECT_EQ(windows.exportDirectoryQuestions, 1);
    windows.answerExportDirectory(std::nullopt);
    EXPECT_EQ(app->exportError(), "Please allow access to your Movies folder to export.");
    EXPECT_TRUE(seesTheEditorOf("Talk"));

    await(app->startExport(exportSettings()));
    await(app->requestProjectTransition(CloseWindow{}));
    answers(deleteProject);
    recordsPictures();
    windows.answerExportDirectory(directory_.file("chosen"));
    EXPECT_FALSE(app->isExporting());
    EXPECT_TRUE(seesTheEditorOf("Talk")) << "another project than the one that was to be exported";
    std::filesystem::remove(movies.path());

    await(app->startExport(exportSettings()));
    EXPECT_EQ(app->exportError(), std::nullopt);
    EXPECT_EQ(app->mode(), AppMode::exporting);
    EXPECT_EQ(app->currentRecordingURL(), movies.appending("Talk.mp4"));
    EXPECT_EQ(app->exportProgress(), 1);
    std::filesystem::remove(app->currentRecordingURL()->path());

    QCoro::Task<> exporting = app->startExport(exportSettings());
    EXPECT_TRUE(app->isExporting());
    await(app->requestProjectTransition(CloseWindow{}));
    answers(deleteProject);
    EXPECT_FALSE(app->isExporting());
    EXPECT_TRUE(seesTheDockBar());
    await(std::move(exporting));
    EXPECT_TRUE(std::filesystem::is_empty(movies.path()));
    EXPECT_EQ(app->exportError(), std::nullopt) << "it concerns nobody any more";
}

}  // namespace
}  // namespace varnelle
