#include "app/CaptureSources.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <QCoreApplication>
#include <QCoro/QCoroTimer>
#include <chrono>

#include "app/SourceRules.h"
#include "foundation/Log.h"
#include "recording/FakeDesktop.h"
#include "support/Waiting.h"
#include "tasks/Await.h"

namespace varnelle {
namespace {

using namespace std::chrono_literals;
using testing::ElementsAre;

ShareableWindow window(std::uint32_t id, const std::string& program, const std::string& title,
                       const CGRect& frame = {{0, 0}, {100, 100}}) {
    ShareableWindow result;
    result.windowID = id;
    result.title = title;
    result.frame = frame;
    result.owningApplication = ShareableApplication{1000 + static_cast<std::int64_t>(id), program, program};
    return result;
}

std::vector<std::uint32_t> idsOf(const std::vector<ShareableWindow>& windows) {
    std::vector<std::uint32_t> ids;
    for (const ShareableWindow& each : windows) ids.push_back(each.windowID);
    return ids;
}

ShareableDisplay display(std::uint32_t id, const std::string& name, const CGRect& frame, double scale = 1) {
    return {id,    frame, static_cast<int>(frame.width() * scale), static_cast<int>(frame.height() * scale),
            scale, name};
}

TEST(SourceRules, OfferedWindowsAreThoseThatAUserWorksIn) {
    ShareableWindow ownerless = window(1, "", "Ownerless");
    ownerless.owningApplication.reset();
    ShareableWindow panel = window(2, "Bar", "Panel");
    panel.windowLayer = 20;
    const std::vector<ShareableWindow> windows{ownerless,
                                               panel,
                                               window(3, "Editor", ""),
                                               window(4, "Dock", "Dock of tools"),
                                               window(5, "dock", "another program's"),
                                               window(6, "Viewer", "preview"),
                                               window(7, "Viewer", "Preview of report"),
                                               window(8, "Tool", "My touch bar Tool"),
                                               window(9, "Editor", "notes"),
                                               window(11, "Editor", "Notes"),
                                               window(10, "Editor", "notes")};
    EXPECT_THAT(idsOf(offeredWindows(windows, 4711)), ElementsAre(11, 9, 10, 7, 5));
    EXPECT_THAT(idsOf(offeredWindows(windows, 1009)), ElementsAre(11, 10, 7, 5))
        << "the program itself isn't offered";
}

TEST(SourceRules, ChoosesForTheUser) {
    const auto left = display(1, "left", {{0, 0}, {800, 600}});
    const auto right = display(2, "right", {{800, 0}, {800, 600}});
    EXPECT_EQ(defaultDisplay({left, right}, "right"), right);
    EXPECT_EQ(defaultDisplay({left, right}, "gone"), left);
    EXPECT_EQ(defaultDisplay({}, "left"), std::nullopt);

    const auto there = window(1, "A", "there", {{700, 0}, {400, 100}});
    const auto here = window(2, "B", "here", {{700, 0}, {150, 100}});
    EXPECT_EQ(defaultWindow({there, here}, {left, right}, std::nullopt), here)
        << "most of it is on the primary screen";
    ShareableWindow renamed = there;
    renamed.title = "was there";
    EXPECT_EQ(defaultWindow({renamed, here}, {left, right}, there), renamed) << "as it is now";
    EXPECT_EQ(defaultWindow({there}, {left, right}, here), there);
    EXPECT_EQ(defaultWindow({there}, {}, std::nullopt), there);
    EXPECT_EQ(defaultWindow({}, {left}, here), std::nullopt);

    EXPECT_EQ(defaultDevice({{"a", "A"}, {"b", "B"}}, "b"), "b");
    EXPECT_EQ(defaultDevice({{"a", "A"}, {"b", "B"}}, "c"), "a");
    EXPECT_EQ(defaultDevice({}, "c"), std::nullopt);
}

TEST(SourceRules, AreasAreCutToTheirDisplayAndAlignedToEvenPixels) {
    const auto primary = display(1, "primary", {{0, 0}, {1440, 900}}, 2);
    const auto area = [](const CGRect& rect) { return std::optional(rect); };
    EXPECT_EQ(areaSelectionForCapture(std::nullopt, primary, 900, 2), std::nullopt);
    EXPECT_EQ(areaSelectionForCapture(area({{100, 700}, {301.5, 150}}), primary, 900, 2),
              (CGRect{{100, 50}, {301, 150}}))
        << "603 pixels are odd";
    EXPECT_EQ(areaSelectionForCapture(area({{10, 10}, {19, 300}}), primary, 900, 2), std::nullopt);
    EXPECT_EQ(areaSelectionForCapture(area({{-50, 850}, {150, 100}}), primary, 900, 2),
              (CGRect{{0, 0}, {100, 50}}))
        << "what lies beyond the edges is cut off";
    EXPECT_EQ(areaSelectionForCapture(area({{1430, 10}, {100, 100}}), primary, 900, 2), std::nullopt);
    const auto above = display(2, "above", {{200, -600}, {800, 600}});
    EXPECT_EQ(areaSelectionForCapture(area({{300.4, 1000.4}, {101, 50}}), above, 900, 1),
              (CGRect{{100, 450}, {100, 50}}));
    EXPECT_EQ(displayScale({primary, above}, 1), 2);
    EXPECT_EQ(displayScale({display(3, "coarse", {}, 0.5)}, 3), 1);
    EXPECT_EQ(displayScale({primary}, 9), 2);
}

class CaptureSourcesTest : public testing::Test {
protected:
    CaptureSourcesTest() {
        desktop.displays = {display(1, "left", {{0, 0}, {800, 600}}),
                            display(2, "right", {{800, 0}, {1000, 700}}, 2)};
        desktop.windows = {window(5, "Editor", "Notes", {{900, 100}, {200, 200}})};
        desktop.microphoneList = {{"mic-1", "First"}, {"mic-2", "Second"}};
        desktop.cameraList = {{"cam-1", "Camera"}};
    }
    bool eventually(const std::function<bool()>& condition) {
        const auto wait = [&condition]() -> QCoro::Task<> {
            for (int i = 0; i < 500 && !condition(); ++i) co_await QCoro::sleepFor(10ms);
        };
        await(wait());
        return condition();
    }

    test::FakeDesktop desktop;
    std::optional<std::string> dockBarScreen = "right";
    CaptureSources sources{desktop, [this] { return dockBarScreen; }};
};

TEST_F(CaptureSourcesTest, KeepsTheSelectionWhileTheDesktopChanges) {
    await(sources.refreshCaptureSources());
    EXPECT_EQ(sources.selectedDisplay()->name, "right") << "where the dock bar is";
    EXPECT_EQ(sources.selectedWindow()->windowID, 5U);
    EXPECT_EQ(sources.selectedMicrophoneID(), "mic-1");
    EXPECT_EQ(sources.selectedCameraID(), "cam-1");
    sources.selectMicrophone("mic-2");
    sources.selectMicrophone("unknown");
    sources.selectWindow(99);

    // A window comes and another is renamed, a device comes and goes; nobody asks for a refresh.
    desktop.windows.push_back(window(4, "Browser", "News"));
    desktop.windows[0].title = "Notes, changed";
    desktop.onContentChange();
    EXPECT_TRUE(eventually([this] { return sources.availableWindows().size() == 2; }));
    EXPECT_EQ(sources.selectedWindow()->title, "Notes, changed");
    desktop.microphoneList = {{"mic-0", "New"}, {"mic-2", "Second"}};
    desktop.onDeviceChange();
    EXPECT_TRUE(eventually([this] { return sources.availableMicrophones().front().uniqueID == "mic-0"; }));
    EXPECT_EQ(sources.selectedMicrophoneID(), "mic-2");
    desktop.microphoneList.pop_back();
    desktop.cameraList.clear();
    await(sources.refreshCaptureSources());
    EXPECT_EQ(sources.selectedMicrophoneID(), "mic-0");
    EXPECT_EQ(sources.selectedCameraID(), std::nullopt);
}

TEST_F(CaptureSourcesTest, DesktopThatCannotBeReadLeavesTheListsButRefreshesTheDevices) {
    await(sources.refreshCaptureSources());
    test::Inbox<std::string> log;
    const LogObserver observer(LogCategory::app, [&log](const std::string& line) { log.put(line); });
    desktop.refusesContent = true;
    desktop.cameraList.push_back({"cam-2", "Another"});
    await(sources.refreshCaptureSources());
    EXPECT_THAT(log.items(), ElementsAre("Failed to enumerate content: Nothing to see."));
    EXPECT_EQ(sources.availableDisplays().size(), 2U);
    EXPECT_EQ(sources.selectedWindow()->windowID, 5U);
    EXPECT_EQ(sources.availableCameras().size(), 2U);
}

TEST_F(CaptureSourcesTest, SelectionBecomesAConfiguration) {
    EXPECT_EQ(sources.makeRecordingConfiguration(), std::nullopt) << "without a display";
    await(sources.refreshCaptureSources());
    sources.setMicrophoneEnabled(false);
    auto configuration = sources.makeRecordingConfiguration();
    ASSERT_TRUE(configuration.has_value());
    EXPECT_EQ(configuration->source,
              RecordingConfiguration::Source(RecordingConfiguration::DisplaySource{desktop.displays[1]}));
    EXPECT_TRUE(configuration->captureSystemAudio);
    EXPECT_FALSE(configuration->captureMicrophone);
    EXPECT_TRUE(configuration->captureCamera);
    EXPECT_EQ(configuration->preferredMicrophoneID, "mic-1");
    EXPECT_EQ(configuration->preferredCameraID, "cam-1");
    EXPECT_EQ(configuration->frameRate, 60);
    EXPECT_EQ(configuration->streamQueueDepth, 6);

    sources.setRecordingType(RecordingType::window);
    sources.selectDisplay(1);
    EXPECT_EQ(sources.makeRecordingConfiguration()->source,
              RecordingConfiguration::Source(
                  RecordingConfiguration::WindowSource{desktop.windows[0], desktop.displays[1]}))
        << "the display that holds its middle";
    desktop.windows[0].frame.origin = {5000, 5000};
    dockBarScreen = "left";
    await(sources.refreshCaptureSources());
    EXPECT_EQ(sources.makeRecordingConfiguration()->source,
              RecordingConfiguration::Source(
                  RecordingConfiguration::WindowSource{desktop.windows[0], desktop.displays[0]}))
        << "if none does, the selected one";
    desktop.windows.clear();
    await(sources.refreshCaptureSources());
    EXPECT_EQ(sources.makeRecordingConfiguration()->source,
              RecordingConfiguration::Source(RecordingConfiguration::DisplaySource{desktop.displays[0]}));

    sources.setRecordingType(RecordingType::area);
    EXPECT_EQ(sources.makeRecordingConfiguration(), std::nullopt);
    sources.setSelectedAreaRect(CGRect{{10, 300}, {101, 201}});
    EXPECT_EQ(sources.makeRecordingConfiguration()->source,
              RecordingConfiguration::Source(
                  RecordingConfiguration::AreaSource{desktop.displays[0], {{10, 99}, {100, 200}}, 1}));
}

}  // namespace
}  // namespace varnelle
