#include "capture_ui/PanelPlacement.h"

#include <gtest/gtest.h>

#include "CaptureUiTest.h"

namespace varnelle {
namespace {

const ScreenPlace kScreen{{{1000, 100}, {600, 500}}, {{1000, 130}, {600, 430}}};

TEST(PanelPlacement, PanelsStandAtTheBottomOfWhatIsVisible) {
    EXPECT_EQ(dockBarFrame(kScreen, {400, 64}), (CGRect{{1100, 484}, {400, 64}}));
    EXPECT_EQ(dockBarFrame({{{0, 0}, {1920, 1080}}, {{0, 0}, {1920, 1080}}}, {}),
              (CGRect{{600, 1016}, {720, 52}}));
    EXPECT_EQ(dockBarFrame(kScreen, {700, 64}).minX(), 1000) << "a bar too wide keeps its close button";
    EXPECT_EQ(dockPointerFrame(kScreen, {200, 100}), (CGRect{{1200, 440}, {200, 100}}));
    EXPECT_EQ(dockPointerFrame(kScreen, {}), (CGRect{{1150, 390}, {300, 150}}));
    EXPECT_EQ(capsuleFrame(kScreen), (CGRect{{1180, 508}, {240, 40}}));
}

TEST(PanelPlacement, TheCameraComesUpAtItsCornerOfWhatIsRecorded) {
    CameraBubbleLayout layout;
    layout.relativeSize = 0.1;
    layout.padding = 30;
    const CGRect recorded{{1050, 300}, {400, 200}};
    const std::pair<OverlayAnchor, CGRect> cases[] = {
        {OverlayAnchor::bottomLeft, {{1104, 290}, {60, 60}}},
        {OverlayAnchor::bottomRight, {{1384, 290}, {60, 60}}},
        {OverlayAnchor::topLeft, {{1104, 210}, {60, 60}}},
        {OverlayAnchor::topRight, {{1384, 210}, {60, 60}}},
    };
    for (const auto& [anchor, frame] : cases) {
        layout.anchor = anchor;
        EXPECT_EQ(cameraPreviewFrame(recorded, kScreen, layout), frame) << static_cast<int>(anchor);
    }
    layout.padding = 10;
    EXPECT_EQ(cameraPreviewFrame(kScreen.frame, kScreen, layout), (CGRect{{1540, 100}, {60, 60}}))
        << "kept on the screen";
    EXPECT_EQ(cameraPreviewSide(std::nullopt, layout), 144);
    EXPECT_EQ(withSide({{100, 100}, {60, 60}}, 100), (CGRect{{80, 80}, {100, 100}}));
}

using RecordedRectTest = test::CaptureUiTest;

TEST_F(RecordedRectTest, IsTheWindowsTheAreasOrTheScreens) {
    desktop.windows = {test::windowOf(7, "Editor", "Notes", {{20, 30}, {200, 100}})};
    launches();
    const CGRect screen{{0, 0}, {1000, 800}};
    EXPECT_EQ(recordedRect(sources(), screen), screen);
    sources().setRecordingType(RecordingType::area);
    EXPECT_EQ(recordedRect(sources(), screen), screen) << "no area yet";
    sources().setSelectedAreaRect(CGRect{{10, 600}, {50, 100}});
    EXPECT_EQ(recordedRect(sources(), screen), (CGRect{{10, 100}, {50, 100}}));
    sources().setRecordingType(RecordingType::window);
    EXPECT_EQ(recordedRect(sources(), screen), (CGRect{{20, 30}, {200, 100}}));
}

}  // namespace
}  // namespace varnelle
