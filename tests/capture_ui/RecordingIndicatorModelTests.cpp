#include "capture_ui/RecordingIndicatorModel.h"

#include "CaptureUiTest.h"
#include "capture_ui/StartRecordingModel.h"
#include "foundation/HostClock.h"
#include "recording/SyntheticMedia.h"

namespace varnelle {
namespace {

using testing::ElementsAre;

using RecordingIndicatorModelTest = test::CaptureUiTest;

TEST_F(RecordingIndicatorModelTest, TellsTheStateAndEndsWhatRuns) {
    desktop.displays = {test::FakeDesktop::display(128, 128)};
    desktop.onStart = [this] {
        desktop.deliver(ScreenStream::OutputType::screen, test::screenSample(hostTimeNow()));
    };
    launches();
    sources().setCameraEnabled(false);
    sources().setSystemAudioEnabled(false);
    RecordingIndicatorModel indicator(*app);
    StartRecordingModel start(*app);
    std::vector<std::string> texts{indicator.stateText().toStdString()};
    QObject::connect(&indicator, &RecordingIndicatorModel::stateChanged, [&] {
        texts.push_back(indicator.stateText().toStdString());
        EXPECT_EQ(start.isPreparing(), texts.back() == "Starting...");
        EXPECT_EQ(indicator.isRecording(), texts.back() == "Stop Recording");
        // Presses at the wrong time do nothing.
        if (start.isPreparing()) start.press();
        if (!indicator.isRecording()) indicator.tap();
    });
    indicator.tap();
    start.press();
    ASSERT_TRUE(eventually([&] { return indicator.isRecording(); }));
    EXPECT_EQ(indicator.timerText(), "00:00");
    ASSERT_TRUE(eventually([&] { return indicator.timerText() == "00:01"; }));
    EXPECT_EQ(indicator.menuBarText(), "0:01");
    indicator.tap();
    indicator.tap();
    ASSERT_TRUE(eventually([&] { return app->recordingFlow().recordingState() == RecordingState::idle; }));
    EXPECT_EQ(app->mode(), AppMode::editing);
    EXPECT_THAT(texts, ElementsAre("Ready", "Starting...", "Stop Recording", "Stopping...", "Ready"));
}

}  // namespace
}  // namespace varnelle
