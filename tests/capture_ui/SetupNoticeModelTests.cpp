#include "capture_ui/SetupNoticeModel.h"

#include <gtest/gtest.h>

#include "CaptureUiTest.h"
#include "foundation/HostClock.h"
#include "model/ProjectLifecycle.h"
#include "recording/SyntheticMedia.h"
#include "support/MediaFixtures.h"

namespace varnelle {
namespace {

class SetupNoticeModelTest : public test::CaptureUiTest {
protected:
    [[nodiscard]] URL session(const std::string& name) const {
        return sessionsDirectory(directory.file("tmp")).appending(name);
    }
    /// A recording of so many seconds whose recorder was killed.
    void leaves(const std::string& name, int seconds) const {
        std::filesystem::create_directories(session(name).path());
        test::writeNumberedMovie(session(name).appending("screen.mov"), test::smallVideo(320, 240),
                                 test::regularTimes(30 * seconds, 30));
    }
    /// Launches and offers what there is.
    [[nodiscard]] std::unique_ptr<SetupNoticeModel> offers() {
        launches();
        auto model = std::make_unique<SetupNoticeModel>(*app, windows, std::nullopt);
        EXPECT_FALSE(model->isShown());
        model->offerRecovery();
        EXPECT_TRUE(eventually([&] { return model->isShown(); }));
        return model;
    }
};

TEST_F(SetupNoticeModelTest, OffersEachUnfinishedRecordingOnce) {
    leaves("recording_1", 2);
    leaves("recording_2", 3);
    const auto model = offers();
    const QString first = model->text();
    EXPECT_TRUE(first.startsWith("0:02 long") || first.startsWith("0:03 long")) << first.toStdString();
    EXPECT_EQ(model->mainButton(), "Recover");
    EXPECT_EQ(model->otherButton(), "Delete");
    model->pressOther();
    EXPECT_TRUE(model->isDestructive()) << "it asks again";
    EXPECT_EQ(model->mainButton(), "Delete");
    model->pressOther();
    EXPECT_FALSE(model->isDestructive());
    EXPECT_TRUE(session("recording_1").exists() && session("recording_2").exists());

    model->pressOther();
    model->pressMain();
    EXPECT_NE(session("recording_1").exists(), session("recording_2").exists()) << "one is gone for good";
    EXPECT_TRUE(model->isShown());
    EXPECT_FALSE(model->isDestructive());
    EXPECT_NE(model->text(), first);
    model->dismiss();
    EXPECT_FALSE(model->isShown());
    model->offerRecovery();
    refreshes();
    EXPECT_FALSE(model->isShown()) << "until the next start";
    EXPECT_NE(session("recording_1").exists(), session("recording_2").exists());
}

TEST_F(SetupNoticeModelTest, RecoversIntoTheEditor) {
    leaves("recording_1", 2);
    const auto model = offers();
    model->pressMain();
    EXPECT_EQ(app->mode(), AppMode::editing);
    EXPECT_FALSE(model->isShown());
}

TEST_F(SetupNoticeModelTest, OffersWhatAFailedStopHasLeft) {
    leaves("recording_1", 2);
    const auto model = offers();
    model->dismiss();
    ASSERT_FALSE(model->isShown());
    sources().setCameraEnabled(false);
    sources().setSystemAudioEnabled(false);
    desktop.onStart = [this] {
        desktop.deliver(ScreenStream::OutputType::screen, test::screenSample(hostTimeNow()));
    };
    await(app->startRecording());
    ASSERT_TRUE(eventually([&] { return app->mode() == AppMode::recording; }));
    // The movie can't be completed, and what comes in its place can be read.
    const URL sessions = sessionsDirectory(directory.file("tmp"));
    for (const auto& entry : std::filesystem::directory_iterator(sessions.path())) {
        if (URL(entry.path()) != session("recording_1")) std::filesystem::remove_all(entry.path());
    }
    leaves("recording_3", 3);
    await(app->stopRecording());
    EXPECT_EQ(app->mode(), AppMode::setup);
    EXPECT_TRUE(eventually([&] { return model->isShown(); }));
    EXPECT_TRUE(model->text().startsWith("0:03 long")) << "not the dismissed one";
    model->dismiss();
    EXPECT_FALSE(model->isShown());
}

TEST_F(SetupNoticeModelTest, SaysWhyNothingCanBeRecorded) {
    leaves("recording_1", 2);
    launches();
    SetupNoticeModel model(*app, windows, "No.");
    model.offerRecovery();
    refreshes();
    EXPECT_TRUE(model.isShown());
    EXPECT_EQ(model.text(), "No.");
    model.dismiss();
    EXPECT_TRUE(model.isShown());
    model.pressMain();
    EXPECT_EQ(windows.projectChoices, 1);
    model.pressOther();
    EXPECT_TRUE(windows.isQuitRequested);
}

}  // namespace
}  // namespace varnelle
