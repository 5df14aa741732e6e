#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>

#include "end_to_end/ProgramUnderTest.h"
#include "media/FrameSource.h"
#include "media/MediaAsset.h"
#include "platform/linux/LinuxDesktop.h"

namespace varnelle {
namespace {

using namespace std::chrono_literals;
using test::AccessibleElement;
using test::Desktop;
using test::PatternWindow;
using test::ProgramUnderTest;

constexpr int kFirstWidth = 1024;
constexpr int kSecondWidth = 1280;
constexpr int kSecondHeight = 720;

/// A desktop whose second screen is plugged in to the right of the first, and out.
class ScreenTest : public testing::Test {
protected:
    void SetUp() override {
        if (const auto obstacle = Desktop::obstacle()) GTEST_SKIP() << *obstacle;
        if (const char* obstacle = test::XServer::obstacleToScreens()) GTEST_SKIP() << obstacle;
        test::XServer server = test::XServer::withScreens();
        display_ = server.displayName();
        plugIn();  // before the window manager, which may take a while to know of another screen
        desktop_ = std::make_unique<Desktop>(std::move(server));
        program_ = std::make_unique<ProgramUnderTest>(*desktop_);
    }

    static constexpr const char* kSecond = "DUMMY1";
    static constexpr const char* kFirstCard = "Display to record: DUMMY0";
    static constexpr const char* kSecondCard = "Display to record: DUMMY1";
    void xrandr(const std::vector<std::string>& arguments) {
        std::vector<std::string> command{"xrandr"};
        command.insert(command.end(), arguments.begin(), arguments.end());
        EXPECT_EQ(test::ChildProcess(command, {"DISPLAY=" + display_}).waitForEnd(), 0);
    }
    void plugIn() {
        xrandr({"--addmode", kSecond, "1280x720"});
        xrandr({"--output", kSecond, "--mode", "1280x720", "--right-of", "DUMMY0"});
    }
    void plugOut() { xrandr({"--output", kSecond, "--off"}); }

    [[nodiscard]] const std::string& display() const { return display_; }
    [[nodiscard]] Desktop& desktop() { return *desktop_; }
    [[nodiscard]] ProgramUnderTest& program() { return *program_; }
    [[nodiscard]] bool isOn(bool second, const std::string& name) {
        return test::until([&] {
            const auto element = test::shownElement(program().processID(), name);
            return element && element->x >= 0 && (element->midX() > kFirstWidth) == second &&
                   element->x + element->width <= kFirstWidth + (second ? kSecondWidth : 0);
        });
    }
    /// By the free place between the sources and the devices, to where it hides nothing of the overlay.
    void dragBarToTheSecondScreen() {
        constexpr int kUp = 600;
        const AccessibleElement area = program().restingElement("Area");
        const int x = area.x + area.width + 12;
        desktop().drag(x, area.midY(), x + kFirstWidth, area.midY() - kUp);
        const auto isUnderThePointer = [&] {
            const auto moved = test::shownElement(program().processID(), "Area");
            return moved && moved->midX() == area.midX() + kFirstWidth && moved->midY() == area.midY() - kUp;
        };
        ASSERT_TRUE(test::until(isUnderThePointer));
    }
    void startsToRecord() {
        program().click("Start recording");
        ASSERT_TRUE(program().shows("Stop Recording"));
        std::this_thread::sleep_for(600ms);  // of recording
    }
    [[nodiscard]] std::shared_ptr<MediaAsset> recordedMovie() {
        EXPECT_TRUE(program().shows("New Recording"));
        return std::make_shared<MediaAsset>(program().sessions().at(0).appending("screen.mov"));
    }

private:
    std::string display_;
    std::unique_ptr<Desktop> desktop_;
    std::unique_ptr<ProgramUnderTest> program_;
};

TEST_F(ScreenTest, TheBarTakesItsOverlayAndTheRecordingToItsScreen) {
    PatternWindow wall(display(), 0, 0, kSecondWidth, kSecondHeight, {.isManaged = true, .title = "Wall"});
    // The manager has fitted it to the first screen.
    const auto isInPlace = [&] {
        wall.moveTo(kFirstWidth, 0);
        wall.resize(kSecondWidth, kSecondHeight);
        const auto windows = LinuxDesktop(display()).shareableContent({}).windows;
        return std::any_of(windows.begin(), windows.end(), [](const ShareableWindow& window) {
            return window.title == "Wall" && window.frame.minX() == kFirstWidth && window.frame.minY() == 0 &&
                   window.frame.width() >= kSecondWidth;
        });
    };
    ASSERT_TRUE(test::until(isInPlace));
    ASSERT_TRUE(program().startsAtTheDockBar());
    program().click("Display");
    ASSERT_TRUE(program().shows(kFirstCard));
    ASSERT_NO_FATAL_FAILURE(dragBarToTheSecondScreen());
    ASSERT_TRUE(program().shows(kSecondCard));
    ASSERT_TRUE(program().showsNoMore(kFirstCard));
    EXPECT_TRUE(isOn(true, "Start recording"));
    ASSERT_NO_FATAL_FAILURE(startsToRecord());
    EXPECT_TRUE(isOn(true, "Stop Recording"));
    wall.fill(0, 0, kSecondWidth, kSecondHeight, 0xFFFFFF);
    std::this_thread::sleep_for(300ms);  // of recording
    program().click("Stop Recording");

    const auto movie = recordedMovie();
    const MediaTrack track = movie->tracks(MediaType::video).front();
    EXPECT_EQ(track.naturalSize, (CGSize{kSecondWidth, kSecondHeight}));
    FrameSource source(movie, track);
    const VideoFrame frame = *source.frame(movie->duration() - timeFromSeconds(0.02));
    for (int y = 60; y < kSecondHeight; y += 10) {
        for (int x = 10; x < kSecondWidth - 10; x += 10) {
            const int lightness = frame.plane(0).data[y * frame.plane(0).bytesPerRow + x];
            ASSERT_GT(lightness, 220) << "a panel at " << x << ", " << y;
        }
    }
}

TEST_F(ScreenTest, WhatWasOnAScreenThatGoesComesBack) {
    ASSERT_TRUE(program().startsAtTheDockBar());
    program().click("Display");
    ASSERT_NO_FATAL_FAILURE(dragBarToTheSecondScreen());
    ASSERT_TRUE(program().shows(kSecondCard));
    plugOut();
    EXPECT_TRUE(isOn(false, "Recording setup"));
    EXPECT_TRUE(program().shows(kFirstCard));
    EXPECT_TRUE(isOn(false, "Start recording"));

    plugIn();
    ASSERT_NO_FATAL_FAILURE(dragBarToTheSecondScreen());
    ASSERT_TRUE(isOn(true, "Start recording"));
    ASSERT_NO_FATAL_FAILURE(startsToRecord());
    plugOut();
    ASSERT_TRUE(isOn(false, "Stop Recording")) << "the capsule comes to where it can be reached";
    program().click("Stop Recording");
    EXPECT_GT(recordedMovie()->duration().seconds(), 0.5) << "what was recorded up to then is kept";
    ASSERT_TRUE(isOn(false, "Export"));
}

}  // namespace
}  // namespace varnelle
