#include "render/CustomVideoCompositor.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <functional>
#include <thread>

#include "render/VideoCompositorError.h"
#include "support/FakeCompositor.h"
#include "support/SampleProject.h"
#include "support/Telemetry.h"
#include "support/Waiting.h"

namespace varnelle {
namespace {

using namespace std::chrono_literals;

constexpr auto kDeadline = 20s;

enum class Outcome { finished, failed, cancelled };

struct Answer {
    CMTime time;
    Outcome outcome;
    VideoFrame frame;
    std::exception_ptr error;
};

using Answers = test::Inbox<Answer>;

/// A request for a moment, with a source picture for the screen, track 1, and one for the camera, track 2,
/// that may both be missing.
class Request final : public VideoCompositionRequest {
public:
    Request(CMTime time, std::shared_ptr<const VideoCompositionInstruction> instruction, VideoFrame source,
            Answers& answers, VideoFrame camera = {})
        : time_(time),
          instruction_(std::move(instruction)),
          source_(std::move(source)),
          camera_(std::move(camera)),
          answers_(answers) {}

    [[nodiscard]] CMTime compositionTime() const override { return time_; }
    [[nodiscard]] std::shared_ptr<const VideoCompositionInstruction> instruction() const override {
        return instruction_;
    }
    [[nodiscard]] std::shared_ptr<VideoRenderContext> renderContext() const override { return nullptr; }
    [[nodiscard]] std::optional<VideoFrame> sourceFrame(TrackID track) const override {
        if (onSourceFrame) onSourceFrame(track);
        const VideoFrame& picture = track == 1 ? source_ : camera_;
        return picture.isEmpty() ? std::nullopt : std::optional(picture);
    }
    void finish(const VideoFrame& frame) override {
        answers_.put({time_, Outcome::finished, frame, nullptr});
    }
    void finish(const std::exception_ptr& error) override {
        answers_.put({time_, Outcome::failed, {}, error});
    }
    void finishCancelledRequest() override { answers_.put({time_, Outcome::cancelled, {}, nullptr}); }

    std::function<void(TrackID)> onSourceFrame;  // set before the start

private:
    CMTime time_;
    std::shared_ptr<const VideoCompositionInstruction> instruction_;
    VideoFrame source_;
    VideoFrame camera_;
    Answers& answers_;
};

VideoFrame greySource() {
    VideoFrame frame = VideoFrame::allocate(PixelFormat::i420, 64, 36, ColorDescription::bt709Limited());
    for (std::size_t p = 0; p < 3; ++p) {
        const int rows = p == 0 ? 36 : 18;
        std::fill_n(frame.plane(p).data, frame.plane(p).bytesPerRow * rows, std::uint8_t{128});
    }
    return frame;
}

class CustomVideoCompositorTest : public testing::Test {
protected:
    CustomVideoCompositorTest() {
        OverlayConfiguration look;
        look.wallpaperPath = "procedural://gradient/mint";
        look.canvasPadding = 20;
        auto recording = std::make_shared<CursorRecording>(test::pointerPath(10, [](double t) {
            return CGPoint{0.3 + 0.04 * t, 0.5};
        }));
        OverlayVideoCompositionInstruction::Contents contents;
        contents.screenTrackID = 1;
        contents.cameraTrackID = 2;
        contents.overlayController = overlay = std::make_shared<OverlayConfigurationController>(look);
        contents.zoomPanClipsController = zoom =
            std::make_shared<ZoomPanClipsController>(std::vector{test::rangeOfSeconds(1, 4)});
        contents.cursorRecording = recording;
        contents.smoothingCamera = std::make_shared<SmoothingCamera>(
            SmoothingCamera::buildSamples(*recording, kCameraFrameRate, kCameraWindowSeconds));
        instruction = std::make_shared<OverlayVideoCompositionInstruction>(std::move(contents));
        compositor.renderContextChanged(std::make_shared<VideoRenderContext>(CGSize{160, 90}));
    }

    void request(double seconds, const VideoFrame& picture, const VideoFrame& camera = {}) {
        compositor.startRequest(
            std::make_shared<Request>(timeFromSeconds(seconds), instruction, picture, answers, camera));
    }

    Answers answers;
    std::shared_ptr<OverlayConfigurationController> overlay;
    std::shared_ptr<ZoomPanClipsController> zoom;
    std::shared_ptr<OverlayVideoCompositionInstruction> instruction;
    VideoFrame source = greySource();
    CustomVideoCompositor compositor;  // last: it answers into everything above
};

TEST_F(CustomVideoCompositorTest, WhatIsMissingFailsTheFrame) {
    request(0, {});
    const auto plain =
        std::make_shared<test::PlainInstruction>(test::rangeOfSeconds(0, 1), std::vector<TrackID>{1});
    compositor.startRequest(std::make_shared<Request>(kCMTimeZero, plain, source, answers));
    compositor.renderContextChanged(nullptr);
    ASSERT_TRUE(answers.waitForCount(2, kDeadline));
    request(0, source);
    ASSERT_TRUE(answers.waitForCount(3, kDeadline));
    for (const Answer& answer : answers.items()) {
        ASSERT_EQ(answer.outcome, Outcome::failed);
        EXPECT_THROW(std::rethrow_exception(answer.error), VideoCompositorError);
    }
}

TEST_F(CustomVideoCompositorTest, AnUnchangedFrameIsHandedOutAgain) {
    auto look = overlay->configuration();
    look.cursor.showsCursor = false;
    overlay->setConfiguration(look);
    request(6, source);
    ASSERT_TRUE(answers.waitForCount(1, kDeadline));
    request(6.5, source);
    ASSERT_TRUE(answers.waitForCount(2, kDeadline));
    request(6.5, greySource());
    ASSERT_TRUE(answers.waitForCount(3, kDeadline));
    look.canvasPadding = 10;
    overlay->setConfiguration(look);
    request(6.5, source);
    ASSERT_TRUE(answers.waitForCount(4, kDeadline));
    const auto all = answers.items();
    EXPECT_TRUE(all[1].frame.sharesStorage(all[0].frame));
    EXPECT_FALSE(all[2].frame.sharesStorage(all[0].frame)) << "another source picture";
    EXPECT_FALSE(all[3].frame.sharesStorage(all[0].frame)) << "another look";
}

TEST_F(CustomVideoCompositorTest, LiveEditsShowInTheNextFrame) {
    const auto nearTheTop = [](const VideoFrame& frame) {
        return frame.plane(0).data[10 * frame.plane(0).bytesPerRow + 4 * 80];
    };
    request(3, source);
    ASSERT_TRUE(answers.waitForCount(1, kDeadline));
    EXPECT_EQ(nearTheTop(answers.items()[0].frame), 130) << "zoomed, the grey screen reaches up here";
    zoom->replaceRanges({});
    request(3, source);
    ASSERT_TRUE(answers.waitForCount(2, kDeadline));
    EXPECT_NE(nearTheTop(answers.items()[1].frame), 130) << "wide, there is background";
}

TEST_F(CustomVideoCompositorTest, ASmallerFrameShowsTheSamePicture) {
    const CGSize renderSize{640, 361};
    compositor.renderContextChanged(std::make_shared<VideoRenderContext>(renderSize));
    for (const double seconds : {3.0, 6.0}) request(seconds, source, greySource());
    ASSERT_TRUE(answers.waitForCount(2, kDeadline));
    compositor.renderContextChanged(std::make_shared<VideoRenderContext>(renderSize, 0.25));
    for (const double seconds : {3.0, 6.0}) request(seconds, source, greySource());
    ASSERT_TRUE(answers.waitForCount(4, kDeadline));
    const auto all = answers.items();
    const auto frameOf = [&](double seconds, int width) {
        return std::find_if(all.begin(), all.end(),
                            [&](const Answer& answer) {
                                return answer.time == timeFromSeconds(seconds) &&
                                       answer.frame.width() == width;
                            })
            ->frame;
    };
    for (const double seconds : {3.0, 6.0}) {
        const Plane small = frameOf(seconds, 160).plane(0);
        const Plane large = frameOf(seconds, 640).plane(0);
        double difference = 0;
        for (int y = 0; y < 90; ++y) {
            for (int x = 0; x < 160; ++x) {
                // A canvas row of the odd size is left out at the top.
                double sum = 0;
                for (int i = 0; i < 16; ++i)
                    sum += large.data[(4 * y + 1 + i / 4) * large.bytesPerRow + 4 * (4 * x + i % 4)];
                difference += std::abs(sum / 16 - small.data[y * small.bytesPerRow + 4 * x]);
            }
        }
        EXPECT_LT(difference / (160 * 90), 0.5) << "levels, on average, at " << seconds;
    }
}

TEST_F(CustomVideoCompositorTest, LeavingARangeHoldsTheViewOfTheMomentItBegan) {
    const auto& contents = instruction->contents();
    const CMTime moment = timeFromSeconds(4.6);
    const OverlayConfiguration look = overlay->configuration();
    FramePlanInput input;
    input.canvas = {160, 90};
    input.sourceSize = {64, 36};
    input.configuration = &look;
    input.zoomPanState = zoom->state(moment, kZoomTransitionSeconds);
    ASSERT_EQ(input.zoomPanState.phase, ZoomPanPhase::leaving);
    const auto screenRectAt = [&](double seconds) {
        input.snapshot = contents.smoothingCamera->snapshot(timeFromSeconds(seconds));
        return makeFramePlan(input).screenRect;
    };
    const CGRect screenRect =
        planFrame(*instruction, moment, input.sourceSize, input.canvas, false).screenRect;
    EXPECT_EQ(screenRect, screenRectAt(5 - kZoomTransitionSeconds));
    EXPECT_NE(screenRect, screenRectAt(4.6)) << "the camera itself goes on";
}

TEST_F(CustomVideoCompositorTest, AMissingCameraPictureLeavesOutTheBubbleAlone) {
    auto look = overlay->configuration();
    look.anchor = OverlayAnchor::bottomLeft;
    look.maskType = OverlayMaskType::square;
    look.padding = 0;
    overlay->setConfiguration(look);
    const VideoFrame camera = greySource();
    request(6, source, camera);
    ASSERT_TRUE(answers.waitForCount(1, kDeadline));
    request(6, source);
    ASSERT_TRUE(answers.waitForCount(2, kDeadline));
    request(6, source, greySource());
    ASSERT_TRUE(answers.waitForCount(3, kDeadline));
    const auto all = answers.items();
    const auto bottomLeft = [](const VideoFrame& frame) {
        return frame.plane(0).data[89 * frame.plane(0).bytesPerRow];
    };
    EXPECT_EQ(bottomLeft(all[0].frame), 130);
    EXPECT_EQ(all[1].outcome, Outcome::finished);
    EXPECT_NE(bottomLeft(all[1].frame), 130);
    EXPECT_FALSE(all[2].frame.sharesStorage(all[0].frame)) << "another camera picture";
}

TEST_F(CustomVideoCompositorTest, CancellingEndsWhatIsPendingAndNothingLater) {
    constexpr std::size_t count = 60;
    for (std::size_t i = 0; i < count; ++i) request(1 + static_cast<double>(i) / 60, source);
    compositor.cancelAllPendingRequests();
    request(5, source);
    ASSERT_TRUE(answers.waitForCount(count + 1, kDeadline));
    std::size_t cancelled = 0;
    for (const Answer& answer : answers.items()) cancelled += answer.outcome == Outcome::cancelled ? 1 : 0;
    EXPECT_GT(cancelled, 0U);
    for (const Answer& answer : answers.items()) {
        if (answer.time == timeFromSeconds(5)) {
            EXPECT_EQ(answer.outcome, Outcome::finished);
        }
    }
}

TEST_F(CustomVideoCompositorTest, ARequestIsCancelledWhileItIsInWork) {
    for (const TrackID cancelling : {1, 2}) {
        answers.clear();
        auto cancelled = std::make_shared<Request>(kCMTimeZero, instruction, source, answers, source);
        cancelled->onSourceFrame = [&](TrackID track) {
            if (track == cancelling) compositor.cancelAllPendingRequests();
        };
        compositor.startRequest(cancelled);
        ASSERT_TRUE(answers.waitForCount(1, kDeadline));
        request(0, source, source);
        ASSERT_TRUE(answers.waitForCount(2, kDeadline));
        EXPECT_EQ(answers.items()[0].outcome, Outcome::cancelled) << "by track " << cancelling;
        EXPECT_EQ(answers.items()[1].outcome, Outcome::finished) << "the same frame, asked for later";
    }
}

TEST_F(CustomVideoCompositorTest, ATurnedFrameIsHandedOutAgain) {
    auto contents = instruction->contents();
    contents.cursorRecording = nullptr;
    contents.screenTransform = {0, 1, -1, 0, 36, 0};
    contents.cameraTransform = {-1, 0, 0, -1, 64, 36};
    instruction = std::make_shared<OverlayVideoCompositionInstruction>(std::move(contents));
    for (const std::size_t count : {1U, 2U}) {
        request(6, source, source);
        ASSERT_TRUE(answers.waitForCount(count, kDeadline));
    }
    EXPECT_TRUE(answers.items()[1].frame.sharesStorage(answers.items()[0].frame));
}

TEST_F(CustomVideoCompositorTest, StaysWholeWhileEverythingChangesUnderIt) {
    constexpr std::size_t count = 150;
    {
        const std::jthread editor([this](const std::stop_token& stop) {
            for (int i = 0; !stop.stop_requested(); ++i) {
                auto look = overlay->configuration();
                look.canvasCornerRadius = i % 40;
                look.isInteractivelyEditing = i % 2 == 0;
                overlay->setConfiguration(look);
                zoom->replaceRanges({test::rangeOfSeconds(i % 5, 3)});
                const double width = i % 3 == 0 ? 160 : 128;
                compositor.renderContextChanged(std::make_shared<VideoRenderContext>(CGSize{width, 90}));
                if (i % 7 == 0) compositor.cancelAllPendingRequests();
                std::this_thread::yield();
            }
        });
        for (std::size_t i = 0; i < count; ++i) request(static_cast<double>(i) / 20, source, source);
        ASSERT_TRUE(answers.waitForCount(count, 60s));
    }
    // Whatever was cancelled, what comes afterwards is drawn.
    constexpr std::size_t later = 10;
    for (std::size_t i = 0; i < later; ++i) request(static_cast<double>(i) / 5, source, source);
    ASSERT_TRUE(answers.waitForCount(count + later, 60s));
    const auto all = answers.items();
    EXPECT_EQ(std::count_if(all.begin() + count, all.end(),
                            [](const Answer& answer) { return answer.outcome == Outcome::finished; }),
              static_cast<std::ptrdiff_t>(later));
    for (const Answer& answer : answers.items()) {
        ASSERT_NE(answer.outcome, Outcome::failed);
        if (answer.outcome == Outcome::finished) {
            EXPECT_TRUE(answer.frame.width() == 160 || answer.frame.width() == 128);
        }
    }
}

}  // namespace
}  // namespace varnelle
