#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <signal.h>

#include <filesystem>
#include <fstream>

#include "end_to_end/ProgramUnderTest.h"
#include "end_to_end/TrayHost.h"
#include "media/FrameSource.h"
#include "media/MediaAsset.h"
#include "model/ProjectPackage.h"
#include "support/PipeWireFeeders.h"

namespace varnelle {
namespace {

using namespace std::chrono_literals;
using namespace test::key;
using test::AccessibleElement;
using test::Desktop;
using test::PatternWindow;
using test::ProgramUnderTest;
using testing::IsEmpty;

constexpr int kCell = 40;

/// The program as a user starts it, without any permission yet.
class SetupTest : public testing::Test {
protected:
    static void SetUpTestSuite() {
        if (!Desktop::obstacle()) desktop_ = std::make_unique<Desktop>();
    }
    static void TearDownTestSuite() { desktop_.reset(); }

    void SetUp() override {
        if (const auto obstacle = Desktop::obstacle()) GTEST_SKIP() << *obstacle;
        program_ = std::make_unique<ProgramUnderTest>(*desktop_);
    }

    static Desktop& desktop() { return *desktop_; }
    [[nodiscard]] ProgramUnderTest& program() { return *program_; }

    /// Ends what records and waits until the project of it is open.
    void landsInTheEditor() {
        ASSERT_TRUE(program().shows("New Recording"));
        ASSERT_EQ(program().sessions().size(), 1U);
        EXPECT_THAT(program().namelessControls(), IsEmpty());
    }

    [[nodiscard]] VideoFrame lastFrame() {
        const auto movie = std::make_shared<MediaAsset>(program().sessions().at(0).appending("screen.mov"));
        FrameSource source(movie, movie->tracks(MediaType::video).front());
        return *source.frame(movie->duration() - timeFromSeconds(0.02));
    }

    std::unique_ptr<ProgramUnderTest> program_;

private:
    static inline std::unique_ptr<Desktop> desktop_;
};

/// How bright a pixel of a decoded picture is, from 0 to 1.
double lightness(const VideoFrame& frame, int x, int y) {
    return (frame.plane(0).data[y * frame.plane(0).bytesPerRow + x] - 16) / 219.0;
}

TEST_F(SetupTest, RecordsADisplayWithTheKeyboardAlone) {
    // Below all panels, as windows of programs are; its decoration takes a part of the top.
    PatternWindow wall(desktop().server.displayName(), 0, 0, Desktop::kWidth, Desktop::kHeight,
                       {.isManaged = true, .title = "Wall"});
    ASSERT_TRUE(program().startsAtTheDockBar());
    wall.fill(0, 0, Desktop::kWidth, Desktop::kHeight, 0xFFFFFF);
    EXPECT_THAT(program().namelessControls(), IsEmpty());
    ASSERT_TRUE(test::until([&] {
        if (program().element("Display").isFocused) return true;
        desktop().keys.type(kTab);
        std::this_thread::sleep_for(100ms);
        return false;
    }));
    desktop().keys.type(kSpace);
    ASSERT_TRUE(program().shows("Start recording"));
    EXPECT_THAT(program().namelessControls(), IsEmpty());
    desktop().keys.type('r', {kControl});
    ASSERT_TRUE(program().shows("Stop Recording"));
    EXPECT_TRUE(program().showsNoMore("Recording setup"));
    std::this_thread::sleep_for(1s);  // of recording
    desktop().keys.type('r', {kControl, kAlternate});
    landsInTheEditor();

    const VideoFrame frame = lastFrame();
    ASSERT_EQ(frame.width(), Desktop::kWidth);
    ASSERT_EQ(frame.height(), Desktop::kHeight);
    for (int y = 60; y < Desktop::kHeight; y += 10) {
        for (int x = 10; x < Desktop::kWidth - 10; x += 10) {
            ASSERT_GT(lightness(frame, x, y), 0.97) << "a panel at " << x << ", " << y;
        }
    }
}

TEST_F(SetupTest, RecordsAnAreaThatWasDrawnMovedAndResized) {
    ASSERT_TRUE(program().startsAtTheDockBar());
    program().click("Area");
    ASSERT_TRUE(program().shows("Start recording"));
    (void)program().restingElement("Start recording");  // then the overlay is on the screen, too
    // Beside the rectangle that was there at first, a new one is drawn.
    desktop().drag(40, 40, 440, 340);
    ASSERT_TRUE(program().shows("400 × 300"));
    desktop().drag(100, 100, 150, 120);
    const auto middle = [&](const char* label) { return program().element(label).midX(); };
    ASSERT_TRUE(test::until([&] { return std::abs(middle("400 × 300") - (90 + 200)) < 2; }));
    desktop().drag(490, 360, 530, 400);
    ASSERT_TRUE(program().shows("440 × 340"));
    EXPECT_NEAR(middle("440 × 340"), 90 + 220, 1);
    program().click("Start recording");
    ASSERT_TRUE(program().shows("Stop Recording"));
    std::this_thread::sleep_for(600ms);
    program().click("Stop Recording");
    landsInTheEditor();
    const auto movie = std::make_shared<MediaAsset>(program().sessions().at(0).appending("screen.mov"));
    EXPECT_EQ(movie->tracks(MediaType::video).front().naturalSize, (CGSize{440, 340}));
}

TEST_F(SetupTest, RecordsAWindowAndEndsByTheTray) {
    const test::TrayHost tray;
    PatternWindow window(desktop().server.displayName(), 200, 150, 400, 300,
                         {.isManaged = true, .title = "Test Card", .windowClass = "pattern", .processID = 1});
    window.fillCells(kCell, 3);
    ASSERT_TRUE(program().startsAtTheDockBar());
    program().click("Window");
    ASSERT_TRUE(program().shows("Refresh Windows"));
    EXPECT_THAT(program().namelessControls(), IsEmpty());
    desktop().keys.type(kEscape);
    ASSERT_TRUE(program().showsNoMore("Refresh Windows"));
    program().click("Window");
    program().click("pattern — Test Card");
    ASSERT_TRUE(program().shows("Start recording"));
    program().click("Start recording");
    ASSERT_TRUE(program().shows("Stop Recording"));
    std::this_thread::sleep_for(600ms);
    ASSERT_TRUE(tray.activateItem());
    landsInTheEditor();
    const VideoFrame frame = lastFrame();
    EXPECT_NEAR(frame.width(), 400, 20);
    EXPECT_NEAR(frame.height(), 300, 60) << "with its decoration";
}

TEST_F(SetupTest, ShowsTheCameraThatItRecords) {
    const test::VirtualCamera camera(desktop().sound.remoteName(), "test-camera", "Desk Camera",
                                     {{test::VirtualCamera::Layout::nv12, 640, 480, 30}});
    ASSERT_TRUE(program().startsAtTheDockBar());
    ASSERT_TRUE(program().shows("Camera: Desk Camera"));
    const AccessibleElement preview = program().restingElement("Camera preview");
    EXPECT_EQ(preview.width, 192) << "a fraction of the screen's width";
    desktop().drag(preview.midX(), preview.midY(), preview.midX() + 300, preview.midY() - 200);
    // A window manager decides where exactly, as it takes the window over after the first bit of the way.
    const auto hasMoved = [&] {
        return std::abs(program().element("Camera preview").x - preview.x - 300) < 40;
    };
    ASSERT_TRUE(test::until(hasMoved));
    desktop().keys.type('r', {kControl});
    ASSERT_TRUE(program().shows("Stop Recording"));
    EXPECT_TRUE(test::until(hasMoved)) << "it keeps its place";
    program().click("Stop Recording");
    landsInTheEditor();
    EXPECT_TRUE(program().sessions().at(0).appending("camera.mov").exists());
}

TEST_F(SetupTest, AsksBeforeUnsavedWorkGoesAndOpensWhatWasSaved) {
    ASSERT_TRUE(program().startsAtTheDockBar());
    desktop().keys.type('r', {kControl});
    program().click("Stop Recording");
    landsInTheEditor();
    program().click("New Recording");
    ASSERT_TRUE(program().hasKeyboard("Cancel"));
    EXPECT_THAT(program().namelessControls(), IsEmpty());
    desktop().keys.type(kEscape);
    ASSERT_TRUE(program().showsNoMore("Cancel"));
    EXPECT_EQ(program().sessions().size(), 1U);
    program().click("New Recording");
    ASSERT_TRUE(program().hasKeyboard("Cancel"));
    program().click("Delete");
    ASSERT_TRUE(program().hasKeyboard("Varnelle Dock"));
    EXPECT_TRUE(test::until([&] { return program().sessions().empty(); }));

    desktop().keys.type('r', {kControl});
    program().click("Stop Recording");
    landsInTheEditor();
    program().sendSignal(SIGTERM);
    ASSERT_TRUE(program().hasKeyboard("Cancel"));
    desktop().keys.type(kReturn);
    EXPECT_TRUE(program().hasEnded());
    ASSERT_EQ(program().packages().size(), 1U);
    EXPECT_NO_THROW(readPackage(program().packages().at(0)));

    ASSERT_TRUE(program().startsAtTheDockBar());
    desktop().keys.type('o', {kControl});
    program().click("Open");  // what the dialog has chosen by itself, as nothing else is there
    EXPECT_TRUE(program().shows("New Recording"));
}

TEST_F(SetupTest, HandsFilesToTheInstanceThatRuns) {
    ASSERT_TRUE(program().startsAtTheDockBar());
    const URL broken = program().home().appending("Broken.varnelle");
    std::filesystem::create_directories(broken.path());
    std::ofstream(broken.appending("project.json").path()) << "{";
    EXPECT_EQ(program().startSecond({broken.string()}), 0);
    ASSERT_TRUE(program().shows("OK"));
    program().click("OK");
    ASSERT_TRUE(program().showsNoMore("OK"));
    EXPECT_EQ(program().startSecond({}), 0);
    EXPECT_TRUE(program().hasKeyboard("Varnelle Dock"));
}

TEST_F(SetupTest, OffersWhatAKilledRecorderLeft) {
    ASSERT_TRUE(program().startsAtTheDockBar());
    desktop().keys.type('r', {kControl});
    ASSERT_TRUE(program().shows("Stop Recording"));
    std::this_thread::sleep_for(2s);  // some of it is on the disk
    program().sendSignal(SIGKILL);
    ASSERT_TRUE(program().hasEnded());
    program().start();
    ASSERT_TRUE(program().shows("A recording wasn't finished"));
    program().click("Delete");
    ASSERT_TRUE(program().shows("Delete this recording for good?"));
    program().click("Keep");
    program().click("Recover");
    landsInTheEditor();
}

TEST_F(SetupTest, QuitsWithoutItsPermissionsAndSaysWhatIsMissing) {
    program().start({}, {"DISPLAY=:4095"});
    EXPECT_TRUE(program().hasEnded());
    EXPECT_THAT(program().output(), testing::HasSubstr(":4095"));

    ASSERT_TRUE(program().startsAtTheDockBar({"XDG_SESSION_TYPE=x11"}));
    program().click("Quit Varnelle");
    EXPECT_TRUE(program().hasEnded());

    program().start({}, {"XDG_SESSION_TYPE=wayland"});
    ASSERT_TRUE(program().shows("Recording isn't possible here"));
    program().click("Quit");
    EXPECT_TRUE(program().hasEnded());
}

TEST_F(SetupTest, NothingHoldsUpTheSetup) {
    ASSERT_TRUE(program().startsAtTheDockBar());
    const std::size_t atStart = program().stalls().size();
    program().click("Display");
    ASSERT_TRUE(program().shows("Start recording"));
    program().click("Area");
    program().click("Window");
    ASSERT_TRUE(program().shows("Refresh Windows"));
    desktop().keys.type(kEscape);
    program().click("Display");
    program().click("Start recording");
    ASSERT_TRUE(program().shows("Stop Recording"));
    program().expectNoStall(atStart);
    program().click("Stop Recording");
    landsInTheEditor();
}

}  // namespace
}  // namespace varnelle
