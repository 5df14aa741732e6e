#include "camera/SmoothingCamera.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <numbers>

#include "support/Telemetry.h"

namespace varnelle {
namespace {

using Kind = CursorActivityKind;
using State = CursorWindowMotionState;

std::vector<SmoothingCameraSample> build(const CursorRecording& recording) {
    return SmoothingCamera::buildSamples(recording, kCameraFrameRate, kCameraWindowSeconds);
}

const SmoothingCameraSample& sampleAt(const std::vector<SmoothingCameraSample>& samples, double time) {
    return *std::min_element(samples.begin(), samples.end(), [time](const auto& a, const auto& b) {
        return std::abs(a.timeSeconds - time) < std::abs(b.timeSeconds - time);
    });
}

double firstTime(const std::vector<SmoothingCameraSample>& samples, State state) {
    const auto found = std::find_if(samples.begin(), samples.end(),
                                    [state](const auto& sample) { return sample.motionState == state; });
    return found == samples.end() ? -1 : found->timeSeconds;
}

TEST(SmoothingCamera, RestingPointerIsZoomedInOnAfterAFifthOfASecond) {
    const auto samples = build(test::restingPointer(6, {0.8, 0.3}));
    EXPECT_NEAR(firstTime(samples, State::hover), 0.2, 1.0 / 120);
    EXPECT_EQ(sampleAt(samples, 0.1).snapshot.zoomScale, 1);
    EXPECT_EQ(samples.back().snapshot.zoomScale, 1.6) << "the spring has settled exactly";
    EXPECT_EQ(samples.back().snapshot.focalPoint, (CGPoint{0.8, 0.3}));
    EXPECT_NEAR(samples[1].timeSeconds - samples[0].timeSeconds, 1.0 / 120, 1e-12);
    EXPECT_GT(samples.back().timeSeconds, 6) << "one step beyond the last event";
}

TEST(SmoothingCamera, ZoomFollowsTheOverdampedSpring) {
    const auto samples = build(test::restingPointer(3, {0.5, 0.5}));
    // The same spring integrated here, from the step in which hovering begins.
    const auto first = std::find_if(samples.begin(), samples.end(),
                                    [](const auto& sample) { return sample.motionState == State::hover; });
    const double omega = 2 * std::numbers::pi / 1.05;
    double zoom = 1;
    double velocity = 0;
    for (auto sample = first; sample != first + 120; ++sample) {
        velocity += (omega * omega * (1.6 - zoom) - 2.4 * omega * velocity) / 120;
        zoom += velocity / 120;
        ASSERT_NEAR(sample->snapshot.zoomScale, zoom, 1e-9) << "at " << sample->timeSeconds;
    }
}

TEST(SmoothingCamera, HoverFollowsOnlyOutsideItsDeadZone) {
    // Rests in the middle, then (slowly enough to hover) to one side, within and beyond 3/32.
    const auto path = [](double reach) {
        return test::pointerPath(8, [reach](double t) {
            return CGPoint{0.5 + reach * std::clamp((t - 2) / 2, 0.0, 1.0), 0.5};
        });
    };
    EXPECT_EQ(build(path(0.09)).back().snapshot.focalPoint.x, 0.5);
    EXPECT_NEAR(build(path(0.2)).back().snapshot.focalPoint.x, 0.7 - 3.0 / 32, 1e-3);
}

TEST(SmoothingCamera, TravelChasesWhereThePointerWillBe) {
    // Appears at 1 s, moving at half a width per second: 0.36 of way, and with it a dispersion of 0.09, after
    // 0.72 s.
    const auto position = [](double t) { return CGPoint{0.1 + 0.5 * std::max(t - 1, 0.0), 0.5}; };
    const auto samples = build(test::pointerPath(2.8, position, [](double t) { return t >= 1; }));
    EXPECT_NEAR(firstTime(samples, State::travel), 1.72, 0.02);

    // From there the spring chases the place 0.82 s ahead, less the dead zone.
    auto sample =
        std::find_if(samples.begin(), samples.end(), [](const auto& s) { return s.timeSeconds > 1.8; });
    double x = sample->snapshot.focalPoint.x;
    double velocity = (x - (sample - 1)->snapshot.focalPoint.x) * 120;
    const double omega = 2 * std::numbers::pi / 0.78;
    for (int i = 0; i < 20; ++i) {
        ++sample;
        ASSERT_EQ(sample->motionState, State::travel);
        const double goal = position(std::min(sample->timeSeconds + 0.82, 2.8)).x - 11.0 / 64;
        velocity += (omega * omega * (goal - x) - 2.4 * omega * velocity) / 120;
        x += velocity / 120;
        // Times are looked up on the grid of 1/600 s.
        ASSERT_NEAR(sample->snapshot.focalPoint.x, x, 1e-4) << "at " << sample->timeSeconds;
    }
}

TEST(SmoothingCamera, PointerOutsideLeavesTheCameraWide) {
    const auto samples = build(test::pointerPath(
        3,
        [](double t) {
            return CGPoint{0.2 + 0.1 * t, 0.5};
        },
        [](double) { return false; }));
    for (const auto& sample : samples) {
        ASSERT_EQ(sample.snapshot.zoomScale, 1);
        ASSERT_EQ(sample.snapshot.focalPoint, (CGPoint{0.2, 0.5}));
        ASSERT_EQ(sample.motionState, State::neutral);
    }
}

TEST(SmoothingCamera, LeavingPointerLetsTheCameraZoomOutInPlace) {
    const auto samples = build(test::pointerPath(
        10,
        [](double t) {
            return t < 3 ? CGPoint{0.7, 0.4} : CGPoint{1.5, 0.4};
        },
        [](double t) { return t < 3; }));
    EXPECT_NEAR(sampleAt(samples, 2.9).snapshot.zoomScale, 1.6, 0.01);
    // The stored target still holds for 0.85 s, then the goal is wide.
    EXPECT_GT(sampleAt(samples, 3.8).snapshot.zoomScale, 1.58);
    EXPECT_EQ(samples.back().snapshot.zoomScale, 1);
    EXPECT_EQ(samples.back().snapshot.focalPoint, (CGPoint{0.7, 0.4}));
}

TEST(SmoothingCamera, PressIsAnticipatedAndADragIsWorkAtOnePlace) {
    // Fast circles, which would be travel.
    auto recording = test::pointerPath(5, [](double t) {
        return CGPoint{0.5 + 0.3 * std::cos(6 * t), 0.5 + 0.3 * std::sin(6 * t)};
    });
    ASSERT_EQ(sampleAt(build(recording), 2.5).motionState, State::travel);
    recording.activitySamples = {
        test::button(1.5, Kind::leftMouseDown, false), test::button(2, Kind::leftMouseDown),
        test::button(2.9, Kind::leftMouseUp, false), test::button(3, Kind::leftMouseUp)};
    const auto samples = build(recording);
    EXPECT_EQ(sampleAt(samples, 1.64).motionState, State::travel) << "an invisible press isn't anticipated";
    EXPECT_EQ(sampleAt(samples, 1.68).motionState, State::hover);
    EXPECT_EQ(sampleAt(samples, 2.95).motionState, State::hover) << "a release outside doesn't end the drag";
    EXPECT_NE(sampleAt(samples, 3.2).motionState, State::hover);
}

TEST(SmoothingCamera, TypingPinsTheViewToThePointer) {
    auto recording = test::pointerPath(4, [](double t) { return CGPoint{t < 1 ? 0.5 : 0.56, 0.5}; });
    EXPECT_NEAR(sampleAt(build(recording), 3).snapshot.focalPoint.x, 0.5, 1e-9) << "within the dead zone";
    for (double t = 1; t < 3; t += 0.2) {
        recording.keyboardSamples.push_back({t, CursorKeyboardActivityKind::typing, true});
    }
    EXPECT_NEAR(sampleAt(build(recording), 3).snapshot.focalPoint.x, 0.56, 1e-3);
    for (auto& sample : recording.keyboardSamples) sample.isVisible = false;
    EXPECT_NEAR(sampleAt(build(recording), 3).snapshot.focalPoint.x, 0.5, 1e-9)
        << "outside the region keys don't count";
}

TEST(SmoothingCamera, ScrollNudgesTheView) {
    auto recording = test::restingPointer(4, {0.5, 0.5});
    for (double t = 2; t < 3; t += 1.0 / 60) recording.scrollSamples.push_back({t, 0, 0.1, false, true});
    const double nudged = sampleAt(build(recording), 2.9).snapshot.focalPoint.y;
    EXPECT_GT(nudged, 0.505);
    for (auto& sample : recording.scrollSamples) sample.isMomentum = true;
    EXPECT_LT(sampleAt(build(recording), 2.9).snapshot.focalPoint.y, nudged);
    for (auto& sample : recording.scrollSamples) sample.isVisible = false;
    EXPECT_EQ(sampleAt(build(recording), 2.9).snapshot.focalPoint.y, 0.5);
}

TEST(SmoothingCamera, StepsAreAtMostAThirtiethAndNothingComesOfNothing) {
    const auto coarse = SmoothingCamera::buildSamples(test::restingPointer(1, {0.5, 0.5}), 24, 0);
    EXPECT_NEAR(coarse[1].timeSeconds, 1.0 / 30, 1e-12);
    CursorRecording clicksOnly;
    clicksOnly.activitySamples = {test::button(1, Kind::leftMouseDown)};
    EXPECT_TRUE(build(clicksOnly).empty());
    EXPECT_FALSE(SmoothingCamera({}).snapshot(kCMTimeZero));
}

TEST(SmoothingCamera, SnapshotsAreInterpolatedAndHoldAtTheEnds) {
    const SmoothingCamera camera(
        {{0, {{0.2, 0.2}, 1}, State::neutral}, {1, {{0.4, 0.6}, 1.5}, State::hover}});
    EXPECT_EQ(camera.snapshot(timeFromSeconds(0.5)),
              (SmoothingCameraSnapshot{{0.30000000000000004, 0.4}, 1.25}));
    EXPECT_EQ(camera.snapshot(timeFromSeconds(9))->zoomScale, 1.5);
    EXPECT_EQ(camera.snapshot(kCMTimeInvalid)->zoomScale, 1);
}

}  // namespace
}  // namespace varnelle
