#include "capture_ui/DockBarModel.h"

#include <algorithm>

#include "CaptureUiTest.h"
#include "support/Waiting.h"

namespace varnelle {
namespace {

using testing::ElementsAre;
using State = DockBarItem::State;

/// A menu as it reads: "*" before what is checked, "(...)" around what can't be chosen.
std::vector<std::string> linesOf(const MenuModel& menu) {
    std::vector<std::string> lines;
    for (const MenuItem& item : menu.items()) {
        const std::string text = item.text.toStdString();
        if (item.isSeparator) {
            lines.emplace_back("---");
        } else if (!item.isEnabled) {
            lines.push_back("(" + text + ")");
        } else {
            lines.push_back((item.isChecked ? "*" : "") + text);
        }
    }
    return lines;
}

void choose(MenuModel& menu, const QString& text) {
    const auto& items = menu.items();
    const auto item =
        std::find_if(items.begin(), items.end(), [&](const MenuItem& each) { return each.text == text; });
    ASSERT_NE(item, items.end()) << text.toStdString();
    menu.trigger(static_cast<int>(item - items.begin()));
}

class DockBarModelTest : public test::CaptureUiTest {
protected:
    DockBarModelTest() {
        desktop.windows = {test::windowOf(5, "Editor", "Notes", {{50, 60}, {300, 200}}),
                           test::windowOf(6, "", "Nameless owner", {{70, 60}, {300, 200}})};
        desktop.microphoneList = {{"mic-1", "Headset"}, {"mic-2", "Ann's iPhone Microphone"}};
        desktop.cameraList = {{"cam-1", "Webcam"}, {"cam-2", "Ann's iPad Camera"}};
    }
    void launches() {
        CaptureUiTest::launches();
        bar = std::make_unique<DockBarModel>(*app, windows);
    }
    std::unique_ptr<DockBarModel> bar;
};

TEST_F(DockBarModelTest, APressChoosesASourceAndAnotherGivesItUp) {
    launches();
    EXPECT_EQ(bar->display()->look(), (DockBarItem::Look{"display", "Display", State::off}));
    EXPECT_EQ(bar->window()->look(), (DockBarItem::Look{"macwindow", "Window", State::off}));
    EXPECT_EQ(bar->area()->look(), (DockBarItem::Look{"crop", "Area", State::off}));
    EXPECT_EQ(bar->display()->menu(), nullptr);
    bar->pressDisplay();
    EXPECT_EQ(sources().recordingType(), RecordingType::display);
    EXPECT_EQ(bar->display()->look(), (DockBarItem::Look{"display.fill", "Display", State::on}));
    EXPECT_EQ(sources().selectedAreaRect(), std::nullopt);
    bar->pressArea();
    EXPECT_EQ(sources().recordingType(), RecordingType::area);
    EXPECT_EQ(bar->display()->state(), State::off);
    EXPECT_EQ(bar->area()->state(), State::on);
    bar->pressArea();
    EXPECT_EQ(sources().recordingType(), std::nullopt);
    EXPECT_EQ(bar->area()->state(), State::off);
    bar->close();
    EXPECT_TRUE(windows.isQuitRequested);
}

TEST_F(DockBarModelTest, ActsOnTheScreenThatItIsOn) {
    launches();
    windows.screenName = "right";
    bar->pressArea();
    EXPECT_EQ(sources().selectedDisplay()->displayID, 2);
    // 600 x 500 points with the bottom left corner at (1000, 200).
    EXPECT_EQ(sources().selectedAreaRect(), (CGRect{{1090, 290}, {420, 320}}));
    windows.screenName = "left";
    bar->dockBarScreenChanged();
    EXPECT_EQ(sources().selectedDisplay()->displayID, 1);
    bar->pressArea();
    bar->pressArea();
    EXPECT_EQ(sources().selectedAreaRect(), (CGRect{{1090, 290}, {420, 320}})) << "chosen once, it stays";
}

TEST_F(DockBarModelTest, ChoosingAWindowRaisesIt) {
    launches();
    MenuModel& menu = *bar->window()->menu();
    EXPECT_THAT(linesOf(menu),
                ElementsAre("Refresh Windows", "---", "*Unknown App — Nameless owner", "Editor — Notes"));
    EXPECT_EQ(menu.items()[0].icon, "arrow.clockwise");
    bar->pressArea();
    choose(menu, "Editor — Notes");
    EXPECT_EQ(sources().recordingType(), RecordingType::window);
    EXPECT_EQ(bar->window()->look(), (DockBarItem::Look{"macwindow.fill", "Window", State::on}));
    EXPECT_EQ(sources().selectedWindow()->windowID, 5);
    EXPECT_TRUE(test::waitUntil([&] { return desktop.raisedWindowID == 5; }, std::chrono::seconds(5)));
    EXPECT_THAT(linesOf(menu),
                ElementsAre("Refresh Windows", "---", "Unknown App — Nameless owner", "*Editor — Notes"));
    choose(menu, "Editor — Notes");
    EXPECT_EQ(sources().recordingType(), RecordingType::window) << "choosing isn't pressing";

    desktop.windows.clear();
    choose(menu, "Refresh Windows");
    EXPECT_TRUE(eventually([&] { return menu.count() == 3; }));
    EXPECT_THAT(linesOf(menu), ElementsAre("Refresh Windows", "---", "(No windows found)"));
}

TEST_F(DockBarModelTest, DevicesAreChosenAndSwitchedOff) {
    struct Device {
        DockBarItem* (DockBarModel::*item)();
        bool (CaptureSources::*isEnabled)() const;
        const char *onIcon, *offIcon, *kind, *first, *second;
    };
    launches();
    for (const Device& device :
         {Device{&DockBarModel::camera, &CaptureSources::isCameraEnabled, "video.fill", "video.slash",
                 "Camera", "Webcam", "iPad Camera"},
          Device{&DockBarModel::microphone, &CaptureSources::isMicrophoneEnabled, "mic.fill", "mic.slash",
                 "Microphone", "Headset", "iPhone Microphone"}}) {
        DockBarItem& item = *((*bar).*device.item)();
        const std::string disable = std::string("Disable ") + device.kind;
        const std::string first = device.first;
        const std::string second = device.second;
        EXPECT_EQ(item.look(), (DockBarItem::Look{device.onIcon, device.first, State::on}));
        EXPECT_THAT(linesOf(*item.menu()), ElementsAre(disable, "---", "*" + first, second));
        choose(*item.menu(), QString::fromStdString(disable));
        EXPECT_FALSE((sources().*device.isEnabled)());
        EXPECT_EQ(item.look(), (DockBarItem::Look{device.offIcon, device.kind, State::off}));
        EXPECT_THAT(linesOf(*item.menu()), ElementsAre("*" + disable, "---", "*" + first, second));
        choose(*item.menu(), device.second);
        EXPECT_TRUE((sources().*device.isEnabled)());
        EXPECT_EQ(item.look(), (DockBarItem::Look{device.onIcon, device.second, State::on}));
        EXPECT_THAT(linesOf(*item.menu()), ElementsAre(disable, "---", first, "*" + second));
    }
    EXPECT_EQ(sources().selectedCameraID(), "cam-2");
    EXPECT_EQ(sources().selectedMicrophoneID(), "mic-2");

    desktop.cameraList.clear();
    desktop.microphoneList.clear();
    refreshes();
    EXPECT_EQ(bar->camera()->look(), (DockBarItem::Look{"video.slash", "No Camera", State::unavailable}));
    EXPECT_EQ(bar->microphone()->look(),
              (DockBarItem::Look{"mic.slash", "No Microphone", State::unavailable}));
}

TEST_F(DockBarModelTest, SystemAudioIsSwitched) {
    launches();
    DockBarItem& item = *bar->systemAudio();
    EXPECT_EQ(item.look(), (DockBarItem::Look{"speaker.wave.2.fill", "System audio", State::on}));
    EXPECT_THAT(linesOf(*item.menu()), ElementsAre("*Enable System Audio", "Disable System Audio"));
    choose(*item.menu(), "Disable System Audio");
    EXPECT_FALSE(sources().isSystemAudioEnabled());
    EXPECT_EQ(item.look(), (DockBarItem::Look{"speaker.slash", "System audio", State::off}));
    EXPECT_THAT(linesOf(*item.menu()), ElementsAre("Enable System Audio", "*Disable System Audio"));
    choose(*item.menu(), "Enable System Audio");
    EXPECT_TRUE(sources().isSystemAudioEnabled());
}

TEST_F(DockBarModelTest, OfTwoQuickCameraChoicesTheLastOneRuns) {
    const auto first = std::make_shared<test::FakeCamera>();
    const auto second = std::make_shared<test::FakeCamera>();
    makeCamera = [&](const std::optional<std::string>& id) { return *id == "cam-1" ? first : second; };
    launches();
    choose(*bar->camera()->menu(), "iPad Camera");
    choose(*bar->camera()->menu(), "Webcam");
    choose(*bar->camera()->menu(), "iPad Camera");
    EXPECT_TRUE(eventually([&] { return app->setupCameraPreview().camera() == second; }));
    EXPECT_TRUE(second->isRunning());
    EXPECT_FALSE(first->isRunning());
    choose(*bar->camera()->menu(), "Disable Camera");
    EXPECT_EQ(app->setupCameraPreview().camera(), nullptr);
    EXPECT_FALSE(second->isRunning());
}

}  // namespace
}  // namespace varnelle
