#include <QGuiApplication>

#include "CaptureUiTest.h"
#include "CaptureView.h"
#include "capture_ui/DockBarModel.h"

namespace varnelle {
namespace {

using testing::ElementsAre;

class DockBarViewTest : public test::CaptureUiTest {
protected:
    void launches() {
        CaptureUiTest::launches();
        bar = std::make_unique<DockBarModel>(*app, windows);
        view = std::make_unique<test::CaptureView>("DockBarView",
                                                   QVariantMap{{"model", QVariant::fromValue(bar.get())}});
    }
    /// Where Tab leads, until it comes round.
    std::vector<std::string> tabStops() {
        std::vector<std::string> stops;
        view->press(Qt::Key_Tab);
        while (stops.size() < 20 && (stops.empty() || view->focused().toStdString() != stops.front())) {
            stops.push_back(view->focused().toStdString());
            view->press(Qt::Key_Tab);
        }
        return stops;
    }
    std::unique_ptr<DockBarModel> bar;
    std::unique_ptr<test::CaptureView> view;
};

TEST_F(DockBarViewTest, ClicksChooseTheSource) {
    desktop.cameraList = {{"cam-1", "Webcam"}};
    desktop.microphoneList = {{"mic-1", "A headset with a name that is much too long for the bar"}};
    launches();
    EXPECT_EQ(view->root().height(), 64);
    const double width = view->root().width();
    EXPECT_LT(width, 720);
    view->picture("dock-bar");
    view->click(view->item("displayButton"));
    EXPECT_EQ(sources().recordingType(), RecordingType::display);
    view->click(view->item("areaButton"));
    EXPECT_EQ(sources().recordingType(), RecordingType::area);
    EXPECT_EQ(view->root().width(), width) << "the bar stays under the pointer";
    view->pictureAtRest("dock-bar-area");
    view->click(view->item("areaButton"));
    EXPECT_EQ(sources().recordingType(), std::nullopt);
    view->click(view->item("closeButton"));
    EXPECT_TRUE(windows.isQuitRequested);
}

TEST_F(DockBarViewTest, TheKeyboardReachesWhatCanBePressed) {
    desktop.cameraList = {{"cam-1", "Webcam"}};
    launches();
    sources().setCameraEnabled(false);
    EXPECT_FALSE(view->item("microphoneControl").isEnabled());
    EXPECT_THAT(tabStops(), ElementsAre("closeButton", "displayButton", "windowButton", "areaButton",
                                        "cameraControl", "systemAudioControl"));
    view->press(Qt::Key_Tab);
    view->press(Qt::Key_Tab);
    ASSERT_EQ(view->focused().toStdString(), "windowButton");
    view->press(Qt::Key_Backtab, Qt::ShiftModifier);
    ASSERT_EQ(view->focused().toStdString(), "displayButton");
    view->picture("dock-bar-focus");
    view->press(Qt::Key_Space);
    EXPECT_EQ(sources().recordingType(), RecordingType::display);
    view->press(Qt::Key_Return);
    EXPECT_EQ(sources().recordingType(), std::nullopt);
}

TEST_F(DockBarViewTest, AMenuIsOpenedUsedAndLeftWithKeys) {
    desktop.windows = {test::windowOf(5, "Editor", "Notes")};
    launches();
    const auto openMenu = []() -> QWindow* {
        for (QWindow* window : QGuiApplication::topLevelWindows()) {
            if (window->title() == "Varnelle Menu" && window->isVisible()) return window;
        }
        return nullptr;
    };
    view->item("windowButton").forceActiveFocus();
    view->press(Qt::Key_Space);
    ASSERT_NE(openMenu(), nullptr);
    EXPECT_EQ(sources().recordingType(), std::nullopt) << "the choice is the menu's";
    for (const Qt::Key key : {Qt::Key_Down, Qt::Key_Down, Qt::Key_Return}) QTest::keyClick(openMenu(), key);
    EXPECT_EQ(sources().recordingType(), RecordingType::window);
    EXPECT_TRUE(eventually([&] { return openMenu() == nullptr; }));

    view->activate();
    view->press(Qt::Key_Return);
    ASSERT_NE(openMenu(), nullptr);
    QTest::keyClick(openMenu(), Qt::Key_Escape);
    EXPECT_TRUE(eventually([&] { return openMenu() == nullptr; }));
    EXPECT_EQ(sources().recordingType(), RecordingType::window);
    view->activate();
    EXPECT_EQ(view->focused().toStdString(), "windowButton");
}

TEST_F(DockBarViewTest, TellsAssistiveProgramsWhatItShows) {
    desktop.cameraList = {{"cam-1", "Webcam"}};
    launches();
    sources().setRecordingType(RecordingType::area);
    EXPECT_EQ(view->accessible("cameraControl"), "Camera: Webcam, On");
    EXPECT_EQ(view->accessible("microphoneControl"), "Microphone: No Microphone, Not available");
    EXPECT_EQ(view->accessible("areaButton"), "Area, checked");
    EXPECT_EQ(view->accessible("displayButton"), "Display");
    sources().setCameraEnabled(false);
    EXPECT_EQ(view->accessible("cameraControl"), "Camera, Off");
}

}  // namespace
}  // namespace varnelle
