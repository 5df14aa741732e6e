#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <future>
#include <optional>
#include <thread>

#include "foundation/HostClock.h"
#include "platform/PixelRegion.h"
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
using test::XServer;

/// A stream of a private X server's whole screen.
class ScreenStreamTest : public testing::Test {
protected:
    void SetUp() override {
        if (!XServer::isAvailable()) GTEST_SKIP() << XServer::kMissing;
        server.emplace(kWidth, kHeight);
    }
    void restartServer(const std::vector<std::string>& arguments) {
        server.emplace(kWidth, kHeight, arguments);
    }
    void TearDown() override { stream = nullptr; }

    void makeStream(int frameRate = 60, int queueDepth = 6) {
        LinuxDesktop desktop(server->displayName());
        ScreenStreamConfiguration configuration;
        configuration.widthPixels = kWidth;
        configuration.heightPixels = kHeight;
        configuration.minimumFrameInterval = CMTime::make(1, frameRate);
        configuration.queueDepth = queueDepth;
        stream =
            desktop.makeScreenStream(DisplayFilter{desktop.shareableContent({}).displays.front(), {}},
                                     configuration, [this](std::exception_ptr error) { errors.put(error); });
        stream->addOutput(ScreenStream::OutputType::screen, queue, [this](const SampleBuffer& sample) {
            times.put(sample.presentationTime);
            if (keepsFrames) samples.put(sample);
        });
    }
    void start() {
        std::exception_ptr failure;
        stream->startCapture([&failure](std::exception_ptr error) { failure = error; });
        ASSERT_EQ(failure, nullptr);
    }
    void stop() {
        std::promise<std::exception_ptr> stopped;
        stream->stopCapture([&stopped](std::exception_ptr error) { stopped.set_value(error); });
        EXPECT_EQ(stopped.get_future().get(), nullptr);
        queue.sync([] {});
    }
    /// Waits until the newest frame shows the colour at a place.
    bool waitForPixel(int x, int y, std::uint32_t color) {
        return samples.waitFor(
            [&](const std::vector<SampleBuffer>& all) {
                return !all.empty() && pixel(*all.back().image(), x, y) == color;
            },
            10s);
    }

    static constexpr int kWidth = 640;
    static constexpr int kHeight = 480;

    std::optional<XServer> server;
    /// A test that keeps all its frames soon has none left to be filled.
    std::atomic<bool> keepsFrames = true;
    Inbox<SampleBuffer> samples;
    Inbox<CMTime> times;
    Inbox<std::exception_ptr> errors;
    SerialQueue queue{"com.varnelle.capture.video"};
    std::unique_ptr<ScreenStream> stream;
};

TEST_F(ScreenStreamTest, FirstFrameIsTheWholeScreen) {
    PatternWindow window(server->displayName(), 0, 0, kWidth, kHeight);
    window.fillCells(16, 5);
    test::PointerRobot(server->displayName()).moveTo(100, 100);
    makeStream();
    const CMTime before = hostTimeNow();
    start();
    ASSERT_TRUE(samples.waitForCount(1, 10s));
    const SampleBuffer first = samples.items().front();
    ASSERT_NE(first.image(), nullptr);
    EXPECT_EQ(first.image()->width(), kWidth);
    EXPECT_EQ(first.image()->height(), kHeight);
    EXPECT_EQ(first.image()->format(), PixelFormat::bgra);
    EXPECT_EQ(first.attachments.status, FrameStatus::complete);
    EXPECT_EQ(first.attachments.displayTime, first.presentationTime);
    EXPECT_GE(first.presentationTime, before);
    EXPECT_LE(first.presentationTime, hostTimeNow());
    int wrongPixels = 0;
    for (int y = 0; y < kHeight; ++y) {
        for (int x = 0; x < kWidth; ++x) {
            if (pixel(*first.image(), x, y) != PatternWindow::cellColor(x, y, 16, 5)) ++wrongPixels;
        }
    }
    EXPECT_EQ(wrongPixels, 0);
}

/// With memory shared with the server, and without, as with a server on another machine.
class ScreenStreamTransportTest : public ScreenStreamTest, public testing::WithParamInterface<bool> {};

INSTANTIATE_TEST_SUITE_P(Transports, ScreenStreamTransportTest, testing::Bool(),
                         [](const auto& test) { return test.param ? "SharedMemory" : "Connection"; });

TEST_P(ScreenStreamTransportTest, ChangesArriveInNewFramesAndOldFramesStay) {
    if (!GetParam()) restartServer({"-extension", "MIT-SHM"});
    PatternWindow window(server->displayName(), 0, 0, kWidth, kHeight);
    window.fillCells(16, 0);
    makeStream();
    start();
    ASSERT_TRUE(samples.waitForCount(1, 10s));
    const VideoFrame first = *samples.items().front().image();
    samples.clear();
    // Narrow and wide changes in turn, so that buffers come back with different parts out of date.
    struct Change {
        PixelRect rect;
        std::uint32_t color;
    };
    std::vector<Change> changes;
    for (int i = 0; i < 24; ++i) {
        const int top = (i * 37) % 400;
        const PixelRect rect = i % 3 == 0 ? PixelRect{0, top, 640, top + 20}
                                          : PixelRect{(i * 53) % 500, top, (i * 53) % 500 + 60, top + 30};
        changes.push_back({rect, 0xff0000U >> (i % 3) | static_cast<std::uint32_t>(i)});
    }
    std::vector<std::uint32_t> expected(kWidth * kHeight);
    for (int y = 0; y < kHeight; ++y) {
        for (int x = 0; x < kWidth; ++x) {
            expected[static_cast<std::size_t>(y * kWidth + x)] = PatternWindow::cellColor(x, y, 16, 0);
        }
    }
    for (const Change& change : changes) {
        const PixelRect& rect = change.rect;
        window.fill(rect.left, rect.top, rect.width(), rect.height(), change.color);
        ASSERT_TRUE(waitForPixel(rect.left + 1, rect.top + 1, change.color));
        for (int y = rect.top; y < rect.bottom; ++y) {
            for (int x = rect.left; x < rect.right; ++x) {
                expected[static_cast<std::size_t>(y * kWidth + x)] = change.color;
            }
        }
        const VideoFrame newest = *samples.items().back().image();
        samples.clear();
        int wrongPixels = 0;
        for (int y = 0; y < kHeight; ++y) {
            for (int x = 0; x < kWidth; ++x) {
                if (pixel(newest, x, y) != expected[static_cast<std::size_t>(y * kWidth + x)]) ++wrongPixels;
            }
        }
        ASSERT_EQ(wrongPixels, 0) << "after the change at " << rect.left << ", " << rect.top;
    }
    EXPECT_EQ(pixel(first, 1, 1), PatternWindow::cellColor(1, 1, 16, 0))
        << "a frame never changes once it is out";
}

TEST_F(ScreenStreamTest, StillScreenAndMovingPointerGiveNoFrames) {
    PatternWindow window(server->displayName(), 0, 0, kWidth, kHeight);
    window.fillCells(16, 0);
    test::PointerRobot robot(server->displayName());
    robot.moveTo(10, 10);
    makeStream();
    start();
    ASSERT_TRUE(samples.waitForCount(1, 10s));
    for (int i = 0; i < 50; ++i) {
        robot.moveTo(10 + i * 5, 10 + i * 5);
        window.fill(0, 0, 16, 16, PatternWindow::cellColor(0, 0, 16, 0));
        std::this_thread::sleep_for(5ms);
    }
    EXPECT_FALSE(samples.waitForCount(2, 500ms));
    window.fill(300, 300, 10, 10, 0xabcdef);
    EXPECT_TRUE(waitForPixel(305, 305, 0xabcdef)) << "the stream is still alive";
    EXPECT_EQ(samples.count(), 2U);
}

TEST_F(ScreenStreamTest, KeepsTheMinimumFrameInterval) {
    PatternWindow window(server->displayName(), 0, 0, kWidth, kHeight);
    keepsFrames = false;
    makeStream(20);
    start();
    const auto deadline = std::chrono::steady_clock::now() + 20s;
    for (std::uint32_t i = 0; times.count() < 15 && std::chrono::steady_clock::now() < deadline; ++i) {
        window.fill(0, 0, 64, 64, i * 7919 & 0xffffff);
    }
    stop();
    const auto all = times.items();
    ASSERT_GE(all.size(), 15U);
    const double span = (all.back() - all.front()).seconds();
    EXPECT_LE(static_cast<double>(all.size() - 1), span / 0.05 + 0.6);
    for (std::size_t i = 1; i < all.size(); ++i) EXPECT_GE((all[i] - all[i - 1]).seconds(), 0.025);
    window.fill(0, 0, 64, 64, 0x123456);
    EXPECT_FALSE(times.waitForCount(all.size() + 1, 200ms)) << "no frame after the stop";
}

TEST_F(ScreenStreamTest, ReceiverThatHoldsAllFramesMissesSomeButGetsTheNewestLater) {
    PatternWindow window(server->displayName(), 0, 0, kWidth, kHeight);
    makeStream(120, 4);
    start();
    ASSERT_TRUE(samples.waitForCount(1, 10s));
    const auto deadline = std::chrono::steady_clock::now() + 10s;
    for (std::uint32_t i = 1; samples.count() < 4 && std::chrono::steady_clock::now() < deadline; ++i) {
        window.fill(0, 0, 640, 480, i * 7919 & 0xffffff);
    }
    window.fill(0, 0, 640, 480, 0x00ff00);
    EXPECT_FALSE(samples.waitForCount(5, 300ms));
    samples.clear();
    EXPECT_TRUE(waitForPixel(600, 400, 0x00ff00));
}

TEST_F(ScreenStreamTest, ServerThatDiesEndsTheStreamWithAnErrorAndStopStillSucceeds) {
    makeStream();
    start();
    ASSERT_TRUE(samples.waitForCount(1, 10s));
    server->kill();
    ASSERT_TRUE(errors.waitForCount(1, 10s));
    try {
        std::rethrow_exception(errors.items().front());
    } catch (const PlatformError& error) {
        EXPECT_EQ(error.code(), PlatformError::Code::displayLost);
        EXPECT_EQ(std::string(error.what()),
                  "The connection to the X display “" + server->displayName() + "” was lost.");
    }
    stop();
    EXPECT_EQ(errors.count(), 1U);
    std::exception_ptr failure;
    stream->startCapture([&failure](std::exception_ptr error) { failure = error; });
    EXPECT_THROW(std::rethrow_exception(failure), PlatformError) << "a start without a display fails";
}

TEST_F(ScreenStreamTest, RefusesWhatItCannotDoWithASentence) {
    LinuxDesktop desktop(server->displayName());
    ScreenStreamConfiguration configuration;
    configuration.widthPixels = kWidth * 2;
    configuration.heightPixels = kHeight * 2;
    EXPECT_THROW(
        (void)desktop.makeScreenStream(DisplayFilter{desktop.shareableContent({}).displays.front(), {}},
                                       configuration, nullptr),
        PlatformError);
}

}  // namespace
}  // namespace varnelle
