#include "capture_ui/SourceOverlays.h"

#include <QSignalSpy>

#include "CaptureUiTest.h"
#include "capture_ui/DisplayHighlightModel.h"
#include "capture_ui/WindowSelectionModel.h"

namespace varnelle {
namespace {

using enum SourceOverlay;

class SourceOverlaysTest : public test::CaptureUiTest {
protected:
    SourceOverlaysTest() {
        desktop.windows = {test::windowOf(5, "Editor", "Notes", {{50, 60}, {300, 200.4}}),
                           test::windowOf(6, "", "Log", {{1100, 150}, {400, 300}})};
    }
};

const CGRect kLeft{{0, 0}, {1000, 800}};
const CGRect kRight{{1000, 100}, {600, 500}};

TEST_F(SourceOverlaysTest, OneMarksWhatIsChosenAndFollowsIt) {
    launches();
    SourceOverlays overlays(*app);
    EXPECT_EQ(overlays.current(), std::nullopt);
    sources().setRecordingType(RecordingType::display);
    EXPECT_EQ(overlays.current(), (PlacedOverlay{displayHighlight, kLeft}));
    sources().selectDisplay(2);
    EXPECT_EQ(overlays.current(), (PlacedOverlay{displayHighlight, kRight}));
    sources().setRecordingType(RecordingType::area);
    EXPECT_EQ(overlays.current(), (PlacedOverlay{areaSelection, kRight}));
    const QSignalSpy changes(&overlays, &SourceOverlays::currentChanged);
    sources().setSelectedAreaRect(CGRect{{1100, 300}, {50, 50}});
    EXPECT_EQ(changes.count(), 0) << "a drag doesn't touch the panels";
    sources().setRecordingType(RecordingType::window);
    EXPECT_EQ(overlays.current(), (PlacedOverlay{windowSelection, {{50, 60}, {300, 200.4}}}));
    sources().selectWindow(6);
    EXPECT_EQ(overlays.current(), (PlacedOverlay{windowSelection, {{1100, 150}, {400, 300}}}));

    app->enterEditor();
    EXPECT_EQ(overlays.current(), std::nullopt);
    app->returnToSetup();
    EXPECT_EQ(overlays.current(), std::nullopt) << "the source is chosen anew";
    refreshes();  // what was begun by the return reads the windows too, on another thread
    sources().setRecordingType(RecordingType::window);
    desktop.windows.clear();
    refreshes();
    EXPECT_EQ(overlays.current(), std::nullopt) << "no window is left";
}

TEST_F(SourceOverlaysTest, NothingIsMarkedWithoutTheBar) {
    permissions.screen = false;
    launches();
    const SourceOverlays overlays(*app);
    sources().setRecordingType(RecordingType::display);
    EXPECT_EQ(overlays.current(), std::nullopt) << "the permissions come first";
    app->finishPermissions();
    ASSERT_TRUE(eventually([&] { return app->isDockBarVisible(); }));
    sources().setRecordingType(RecordingType::display);
    EXPECT_EQ(overlays.current(), (PlacedOverlay{displayHighlight, kLeft}));
}

TEST_F(SourceOverlaysTest, DisplaysTellTheirNameAndSize) {
    launches();
    const auto screenOf = [](const ShareableDisplay& display) -> std::optional<ScreenDescription> {
        if (display.displayID != 1) return std::nullopt;
        return ScreenDescription{"Fine Monitor", {1001, 801}, 59.94};
    };
    const DisplayHighlightModel model(sources(), screenOf);
    EXPECT_EQ(model.title(), "Fine Monitor");
    EXPECT_EQ(model.details(), "1001 × 801 · 60 Hz");
    sources().selectDisplay(2);
    EXPECT_EQ(model.title(), "Unknown Display");
    EXPECT_EQ(model.details(), "600 × 500");
}

TEST_F(SourceOverlaysTest, WindowsShowTheirOwnersIcon) {
    desktop.windowIcons[5] = {2, 1, {0xff112233, 0x80aabbcc}};
    desktop.windows[1].scale = 1.5;
    launches();
    WindowSelectionModel model(sources(), desktop);
    EXPECT_EQ(model.applicationName(), "Editor");
    EXPECT_EQ(model.title(), "Notes");
    EXPECT_EQ(model.sizeText(), "300 × 200");
    ASSERT_TRUE(eventually([&] { return model.hasIcon(); }));
    EXPECT_EQ(model.icon().pixel(0, 0), 0xff112233);
    EXPECT_EQ(model.icon().pixel(1, 0), 0x80aabbcc);
    EXPECT_EQ(desktop.wantedIconSize, 120);

    sources().selectWindow(6);
    EXPECT_EQ(model.applicationName(), "Unknown App");
    EXPECT_FALSE(model.hasIcon()) << "never the other window's";
    ASSERT_TRUE(eventually([&] { return desktop.wantedIconSize == 180; }));
    sources().selectWindow(5);
    ASSERT_TRUE(eventually([&] { return model.hasIcon(); }));

    desktop.windows.clear();
    refreshes();
    EXPECT_FALSE(model.hasWindow());
    EXPECT_FALSE(model.hasIcon());
    EXPECT_EQ(model.applicationName() + model.title() + model.sizeText(), "");
}

}  // namespace
}  // namespace varnelle
