#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <functional>
#include <mutex>
#include <optional>
#include <thread>

#include "foundation/Log.h"
#include "platform/PlatformError.h"
#include "platform/linux/LinuxDesktop.h"
#include "support/FramePixel.h"
#include "support/PatternWindow.h"
#include "support/Waiting.h"
#include "support/XServer.h"

namespace varnelle {
namespace {

using namespace std::chrono_literals;
using test::Inbox;
using test::PatternWindow;
using test::pixel;
using test::waitUntil;
using test::WindowProperties;
using test::XServer;
using testing::HasSubstr;

constexpr int kScreenWidth = 640;
constexpr int kScreenHeight = 480;
constexpr std::uint32_t kLoud = 0xff00ff;
constexpr int kCell = 16;

/// How many pixels of the frame aren't what the cells show there; the frame's corner is at the given place of
/// the cells.
int pixelsOffThePattern(const VideoFrame& frame, std::uint32_t phase, int left = 0, int top = 0) {
    int count = 0;
    for (int y = 0; y < frame.height(); ++y) {
        for (int x = 0; x < frame.width(); ++x) {
            if (pixel(frame, x, y) != PatternWindow::cellColor(x + left, y + top, kCell, phase)) ++count;
        }
    }
    return count;
}

WindowProperties ownWindow() {
    WindowProperties properties;
    properties.processID = static_cast<std::uint32_t>(getpid());
    return properties;
}

class WindowCaptureTest : public testing::Test {
protected:
    void SetUp() override {
        if (!XServer::isAvailable()) GTEST_SKIP() << XServer::kMissing;
        restartServer({});
    }
    void restartServer(const std::vector<std::string>& arguments) {
        server.emplace(kScreenWidth, kScreenHeight, arguments);
        desktop.emplace(server->displayName());
    }
    void TearDown() override { stream = nullptr; }

    [[nodiscard]] ShareableDisplay display() { return desktop->shareableContent({}).displays.front(); }
    [[nodiscard]] ShareableApplication self() {
        const auto applications = desktop->shareableContent({}).applications;
        return *std::find_if(applications.begin(), applications.end(),
                             [](const auto& application) { return application.processID == getpid(); });
    }
    /// The window of that title, once the window manager shows it. Fails the test if it never does.
    [[nodiscard]] ShareableWindow shownWindow(const std::string& title) {
        const bool isShown = waitUntil(
            [&] {
                const auto window = windowTitled(title);
                return window && window->isOnScreen;
            },
            10s);
        EXPECT_TRUE(isShown) << title;
        return windowTitled(title).value_or(ShareableWindow{});
    }
    [[nodiscard]] std::optional<ShareableWindow> windowTitled(const std::string& title) {
        const auto windows = desktop->shareableContent({}).windows;
        const auto found = std::find_if(windows.begin(), windows.end(),
                                        [&title](const auto& window) { return window.title == title; });
        return found == windows.end() ? std::nullopt : std::optional(*found);
    }

    void makeStream(const ContentFilter& filter, int widthPixels, int heightPixels,
                    std::optional<CGRect> sourceRect = std::nullopt) {
        ScreenStreamConfiguration configuration;
        configuration.widthPixels = widthPixels;
        configuration.heightPixels = heightPixels;
        configuration.sourceRect = sourceRect;
        configuration.scalesToFit = sourceRect.has_value();
        stream = desktop->makeScreenStream(filter, configuration,
                                           [this](std::exception_ptr error) { errors.put(error); });
        stream->addOutput(ScreenStream::OutputType::screen, queue, [this](const SampleBuffer& sample) {
            if (onFrame) onFrame(*sample.image());
            ++frameCount;
            const std::lock_guard lock(mutex);
            newestSample = sample;
        });
    }
    [[nodiscard]] std::exception_ptr tryToStart() {
        std::exception_ptr failure;
        stream->startCapture([&failure](std::exception_ptr error) { failure = error; });
        return failure;
    }
    void start() { ASSERT_EQ(tryToStart(), nullptr); }
    bool waitForFrame(const std::function<bool(const VideoFrame&)>& condition) {
        return waitUntil(
            [&] {
                const SampleBuffer sample = newest();
                return sample.image() != nullptr && condition(*sample.image());
            },
            10s);
    }
    SampleBuffer newest() {
        const std::lock_guard lock(mutex);
        return newestSample;
    }
    static std::string messageOf(const std::exception_ptr& error) {
        try {
            std::rethrow_exception(error);
        } catch (const PlatformError& platformError) {
            return platformError.what();
        }
    }

    std::optional<XServer> server;
    std::optional<LinuxDesktop> desktop;
    std::function<void(const VideoFrame&)> onFrame;  ///< on the queue
    std::atomic<int> frameCount = 0;
    std::mutex mutex;
    SampleBuffer newestSample;  // guarded by mutex; older ones go back to the stream
    Inbox<std::exception_ptr> errors;
    SerialQueue queue{"com.varnelle.capture.video"};
    std::unique_ptr<ScreenStream> stream;
};

TEST_F(WindowCaptureTest, OwnWindowsAreNeverInThePicture) {
    WindowProperties undrawn;
    undrawn.hasBackground = false;
    PatternWindow pattern(server->displayName(), 0, 0, kScreenWidth, kScreenHeight, undrawn);
    pattern.fillCells(kCell, 0);
    PatternWindow own(server->displayName(), 100, 80, 200, 60, ownWindow());
    own.fill(0, 0, 200, 60, kLoud);
    std::atomic<int> loudPixels = 0;
    onFrame = [&loudPixels](const VideoFrame& frame) {
        for (int y = 0; y < frame.height(); ++y) {
            for (int x = 0; x < frame.width(); ++x) {
                if (pixel(frame, x, y) == kLoud) ++loudPixels;
            }
        }
    };
    makeStream(DisplayFilter{display(), {self()}}, kScreenWidth, kScreenHeight);
    start();
    EXPECT_TRUE(waitForFrame([](const VideoFrame& frame) { return pixelsOffThePattern(frame, 0) == 0; }))
        << "what was covered from the beginning, and isn't drawn again";

    pattern.fill(120, 90, 50, 20, 0x123456);
    EXPECT_TRUE(waitForFrame([](const VideoFrame& frame) { return pixel(frame, 140, 100) == 0x123456; }))
        << "what is drawn beneath an own window is a change of the picture";

    // Windows that come, move and go while the picture beneath moves on.
    for (int i = 0; i < 40; ++i) {
        PatternWindow another(server->displayName(), 10 * i, 200, 150, 100, ownWindow());
        another.fill(0, 0, 150, 100, kLoud);
        own.moveTo(7 * i, 60 + i);
        own.fill(0, 0, 200, 60, kLoud);
        pattern.fill((i * 31) % 600, (i * 17) % 440, 30, 30, 0x00aa00 + static_cast<std::uint32_t>(i));
        std::this_thread::sleep_for(12ms);
    }
    pattern.fillCells(kCell, 2);
    EXPECT_TRUE(waitForFrame([](const VideoFrame& frame) { return pixelsOffThePattern(frame, 2) == 0; }));
    EXPECT_EQ(loudPixels, 0);

    const int before = frameCount;
    for (int i = 0; i < 20; ++i) {
        own.fill(0, 0, 200, 60, kLoud + static_cast<std::uint32_t>(i));
        std::this_thread::sleep_for(10ms);
    }
    EXPECT_EQ(frameCount, before) << "what own windows draw is no change of the picture";
}

TEST_F(WindowCaptureTest, OwnManagedWindowsAndTheirDecorationAreLeftOut) {
    server->startWindowManager();
    PatternWindow pattern(server->displayName(), 0, 0, kScreenWidth, kScreenHeight);
    pattern.fillCells(kCell, 0);
    WindowProperties properties = ownWindow();
    properties.isManaged = true;
    properties.title = "Own";
    PatternWindow own(server->displayName(), 100, 80, 200, 60, properties);
    (void)shownWindow("Own");
    makeStream(DisplayFilter{display(), {self()}}, kScreenWidth, kScreenHeight);
    start();
    pattern.fillCells(kCell, 3);
    EXPECT_TRUE(waitForFrame([](const VideoFrame& frame) { return pixelsOffThePattern(frame, 3) == 0; }));
}

TEST_F(WindowCaptureTest, AreaShowsItsPartOfTheDisplayAndBlackBeyondTheEdge) {
    PatternWindow pattern(server->displayName(), 0, 0, kScreenWidth, kScreenHeight);
    pattern.fillCells(kCell, 0);
    makeStream(DisplayFilter{display(), {}}, 200, 100, CGRect{{33, 47}, {200, 100}});
    start();
    EXPECT_TRUE(
        waitForFrame([](const VideoFrame& frame) { return pixelsOffThePattern(frame, 0, 33, 47) == 0; }));
    pattern.fill(100, 100, 10, 10, 0xabcdef);
    EXPECT_TRUE(waitForFrame([](const VideoFrame& frame) { return pixel(frame, 70, 55) == 0xabcdef; }));

    makeStream(DisplayFilter{display(), {}}, 200, 100, CGRect{{540, -40}, {200, 100}});
    start();
    EXPECT_TRUE(waitForFrame([](const VideoFrame& frame) {
        return pixel(frame, 150, 60) == 0 && pixel(frame, 50, 30) == 0 &&
               pixel(frame, 50, 60) == PatternWindow::cellColor(590, 20, kCell, 0);
    }));

    makeStream(DisplayFilter{display(), {}}, 200, 100, CGRect{{640, 0}, {200, 100}});
    EXPECT_THAT(messageOf(tryToStart()), HasSubstr("lies outside"));
}

TEST_F(WindowCaptureTest, WindowByItselfIsShownWhateverLiesOverItAndWhereverItMoves) {
    server->startWindowManager();
    WindowProperties properties;
    properties.isManaged = true;
    properties.title = "Work";
    PatternWindow work(server->displayName(), 50, 60, 320, 200, properties);
    const ShareableWindow window = shownWindow("Work");
    const int width = static_cast<int>(window.frame.width());
    const int height = static_cast<int>(window.frame.height());
    ASSERT_GT(height, 200) << "the frame holds the title bar";
    makeStream(WindowFilter{window}, width, height);
    start();
    PatternWindow cover(server->displayName(), 0, 0, kScreenWidth, kScreenHeight);
    cover.fill(0, 0, kScreenWidth, kScreenHeight, kLoud);
    work.fill(0, 0, 320, 200, 0x224466);
    ASSERT_TRUE(waitForFrame(
        [&](const VideoFrame& frame) { return pixel(frame, width / 2, height / 2) == 0x224466; }));
    int left = 0;
    int top = 0;
    while (pixel(*newest().image(), left, height / 2) != 0x224466) ++left;
    while (pixel(*newest().image(), width / 2, top) != 0x224466) ++top;
    EXPECT_GE(top, 10) << "the picture holds the title bar";
    EXPECT_TRUE(waitForFrame([&](const VideoFrame& frame) {
        return pixel(frame, left, top) == 0x224466 && pixel(frame, left + 319, top + 199) == 0x224466 &&
               pixel(frame, left, top + 200) != 0x224466;
    }));
    work.moveTo(500, 400);
    work.fill(10, 10, 20, 20, 0x0f0f0f);
    EXPECT_TRUE(waitForFrame([&](const VideoFrame& frame) {
        return pixel(frame, left + 15, top + 15) == 0x0f0f0f &&
               pixel(frame, left + 300, top + 190) == 0x224466;
    })) << "half off the screen it is whole";

    // The window manager carries both out later; what was drawn before is lost, as programs know.
    work.resize(200, 100);
    EXPECT_TRUE(waitForFrame([&](const VideoFrame& frame) {
        work.fill(0, 0, 200, 100, 0x446622);
        return pixel(frame, left + 199, top + 99) == 0x446622 && pixel(frame, left + 250, top + 150) == 0;
    })) << "a smaller window stands on black";
    for (int i = 0; i < 60; ++i) {
        work.resize(100 + (i * 37) % 220, 60 + (i * 23) % 140);
        std::this_thread::sleep_for(3ms);
    }
    work.resize(200, 100);
    work.hide();
    work.show();
    EXPECT_TRUE(waitForFrame([&](const VideoFrame& frame) {
        work.fill(0, 0, 200, 100, 0x662244);
        return pixel(frame, left + 5, top + 5) == 0x662244;
    }));

    work.close();
    ASSERT_TRUE(errors.waitForCount(1, 10s));
    EXPECT_EQ(messageOf(errors.items().front()), "The window “Work” was closed.");
    makeStream(WindowFilter{window}, width, height);
    EXPECT_EQ(messageOf(tryToStart()), "The window “Work” was closed.");
}

TEST_F(WindowCaptureTest, WindowThatIsShownBeforeItsFrameIsFound) {
    WindowProperties titled;
    titled.title = "Work";
    PatternWindow work(server->displayName(), 50, 60, 320, 200, titled);
    work.fill(0, 0, 320, 200, 0x224466);
    makeStream(WindowFilter{shownWindow("Work")}, 320, 200);
    start();
    ASSERT_TRUE(waitForFrame([](const VideoFrame& frame) { return pixel(frame, 5, 5) == 0x224466; }));
    WindowProperties hidden;
    hidden.isShown = false;
    PatternWindow frame(server->displayName(), 50, 60, 320, 200, hidden);
    work.hide();
    work.moveInto(frame, 0, 0);
    work.show();
    std::this_thread::sleep_for(100ms);  // the stream looks at it as it is
    frame.show();
    EXPECT_TRUE(waitForFrame([&](const VideoFrame& picture) {
        work.fill(0, 0, 320, 200, 0x662244);
        return pixel(picture, 5, 5) == 0x662244;
    }));
}

TEST_F(WindowCaptureTest, WindowWhoseFrameGoesWhileItIsLookedAtIsNotClosed) {
    WindowProperties titled;
    titled.title = "Work";
    PatternWindow work(server->displayName(), 50, 60, 320, 200, titled);
    makeStream(WindowFilter{shownWindow("Work")}, 320, 200);
    start();
    for (int i = 0; i < 300; ++i) {
        PatternWindow frame(server->displayName(), 50, 60, 320, 200);
        work.moveInto(frame, 0, 0);
        work.moveOut(50, 60);
    }
    work.show();
    EXPECT_TRUE(waitForFrame([&](const VideoFrame& picture) {
        work.fill(0, 0, 320, 200, 0x662244);
        return pixel(picture, 5, 5) == 0x662244;
    }));
    EXPECT_EQ(errors.count(), 0U);
}

TEST_F(WindowCaptureTest, RemovedDisplayIsToldOfAndTheStreamGoesOn) {
    const auto arrange = [this](const std::vector<std::string>& arguments) {
        std::vector<std::string> command{"xrandr"};
        command.insert(command.end(), arguments.begin(), arguments.end());
        EXPECT_EQ(test::ChildProcess(command, {"DISPLAY=" + server->displayName()}).waitForEnd(), 0);
    };
    arrange({"--setmonitor", "left", "320/100x480/100+0+0", "screen"});
    arrange({"--setmonitor", "right", "320/100x480/100+320+0", "none"});
    const auto displays = desktop->shareableContent({}).displays;
    const auto right = std::find_if(displays.begin(), displays.end(),
                                    [](const ShareableDisplay& each) { return each.name == "right"; });
    ASSERT_NE(right, displays.end());
    Inbox<std::string> log;
    const LogObserver observer(LogCategory::capture, [&log](const std::string& line) { log.put(line); });
    PatternWindow pattern(server->displayName(), 0, 0, kScreenWidth, kScreenHeight);
    makeStream(DisplayFilter{*right, {}}, 320, 480);
    start();
    pattern.fillCells(kCell, 0);
    EXPECT_TRUE(
        waitForFrame([](const VideoFrame& frame) { return pixelsOffThePattern(frame, 0, 320, 0) == 0; }));
    arrange({"--delmonitor", "right"});
    EXPECT_TRUE(log.waitForCount(1, 10s));
    EXPECT_THAT(log.items(), testing::ElementsAre("The display “right” was removed while it was recorded."));
    pattern.fillCells(kCell, 1);
    EXPECT_TRUE(
        waitForFrame([](const VideoFrame& frame) { return pixelsOffThePattern(frame, 1, 320, 0) == 0; }));
    EXPECT_EQ(errors.count(), 0U);
}

TEST_F(WindowCaptureTest, WindowOnItsDisplayThatClosesIsLoggedAndItsPlaceGoesOn) {
    PatternWindow pattern(server->displayName(), 0, 0, kScreenWidth, kScreenHeight);
    pattern.fillCells(kCell, 0);
    WindowProperties properties;
    properties.title = "Notes";
    PatternWindow notes(server->displayName(), 100, 80, 200, 100, properties);
    const ShareableWindow window = *windowTitled("Notes");
    Inbox<std::string> log;
    const LogObserver observer(LogCategory::capture, [&log](const std::string& line) { log.put(line); });
    makeStream(DisplayFilter{display(), {}, window}, 200, 100, window.frame);
    start();
    notes.close();
    EXPECT_TRUE(
        waitForFrame([](const VideoFrame& frame) { return pixelsOffThePattern(frame, 0, 100, 80) == 0; }));
    EXPECT_TRUE(log.waitForCount(1, 10s));
    EXPECT_THAT(log.items(), testing::ElementsAre("The window “Notes” was closed while it was recorded. The "
                                                  "recording goes on with its place."));
    EXPECT_EQ(errors.count(), 0U);
}

TEST_F(WindowCaptureTest, HiddenWindowFailsTheStart) {
    WindowProperties properties;
    properties.title = "Hidden";
    PatternWindow hidden(server->displayName(), 0, 0, 100, 100, properties);
    const ShareableWindow window = *windowTitled("Hidden");
    hidden.hide();
    makeStream(WindowFilter{window}, 100, 100);
    EXPECT_THAT(messageOf(tryToStart()), HasSubstr("isn't shown"));
}

TEST_F(WindowCaptureTest, WorksMoreSlowlyWhereExtensionsAreMissing) {
    for (const char* extension : {"DAMAGE", "Composite", "MIT-SHM", "RANDR"}) {
        SCOPED_TRACE(extension);
        stream = nullptr;
        restartServer({"-extension", extension});
        WindowProperties properties;
        properties.title = "Work";
        PatternWindow pattern(server->displayName(), 0, 0, kScreenWidth, kScreenHeight, properties);
        pattern.fillCells(kCell, 0);
        makeStream(DisplayFilter{display(), {self()}}, kScreenWidth, kScreenHeight);
        start();
        EXPECT_TRUE(waitForFrame([](const VideoFrame& frame) { return pixelsOffThePattern(frame, 0) == 0; }));
        makeStream(WindowFilter{*windowTitled("Work")}, kScreenWidth, kScreenHeight);
        start();
        pattern.fillCells(kCell, 1);
        EXPECT_TRUE(waitForFrame([](const VideoFrame& frame) { return pixelsOffThePattern(frame, 1) == 0; }));
    }
}

TEST_F(WindowCaptureTest, ListsWindowsWithProgramFrameAndLayerAndTellsOfChanges) {
    server->startWindowManager();
    Inbox<int> changes;
    const auto observation = desktop->observeShareableContent([&changes] { changes.put(0); });
    ASSERT_NE(observation, nullptr);
    WindowProperties properties;
    properties.isManaged = true;
    properties.title = "First";
    properties.windowClass = "Editor";
    properties.processID = 4711;
    PatternWindow first(server->displayName(), 50, 60, 300, 200, properties);
    ASSERT_TRUE(changes.waitForCount(1, 10s));
    const ShareableWindow window = shownWindow("First");
    EXPECT_EQ(window.owningApplication, (ShareableApplication{4711, "Editor", "Editor"}));
    EXPECT_EQ(window.windowLayer, 0);
    EXPECT_TRUE(window.isOnScreen);
    EXPECT_GE(window.frame.width(), 300);
    EXPECT_GT(window.frame.height(), 200);

    changes.clear();
    first.setTitle("Renamed");
    EXPECT_TRUE(changes.waitForCount(1, 10s));
    EXPECT_TRUE(waitUntil([&] { return windowTitled("Renamed").has_value(); }, 10s));

    properties.title = "Second";
    PatternWindow second(server->displayName(), 0, 0, 100, 100, properties);
    (void)shownWindow("Second");
    EXPECT_EQ(desktop->shareableContent({}).windows.front().title, "Second") << "the topmost comes first";

    desktop->raiseWindow(first.windowID());
    EXPECT_TRUE(
        waitUntil([&] { return desktop->shareableContent({}).windows.front().title == "Renamed"; }, 10s));
    changes.clear();
    first.close();
    EXPECT_TRUE(changes.waitForCount(1, 10s));
    EXPECT_TRUE(waitUntil([&] { return !windowTitled("Renamed"); }, 10s));
    desktop->raiseWindow(window.windowID);
    server->kill();
    desktop->raiseWindow(window.windowID);
}

}  // namespace
}  // namespace varnelle
