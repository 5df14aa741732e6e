#include "recording/CursorRecorder.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <atomic>
#include <mutex>

#include "camera/CursorRecordingFile.h"
#include "recording/SyntheticMedia.h"
#include "support/TemporaryDirectory.h"
#include "support/Waiting.h"

namespace varnelle {
namespace {

using namespace std::chrono_literals;
using test::hostSeconds;
using testing::ElementsAre;

constexpr CGRect kRegion{{100, 50}, {200, 100}};

/// A pointer that plays a script, one entry for each look, and stays with the last one.
class ScriptedPointer final : public PointerInput {
public:
    explicit ScriptedPointer(std::vector<std::optional<PointerState>> script) : script_(std::move(script)) {}
    std::optional<PointerState> currentState() override {
        const std::size_t look = looks_.fetch_add(1);
        return script_[std::min(look, script_.size() - 1)];
    }
    [[nodiscard]] bool isThrough() const { return looks_ >= script_.size(); }

private:
    std::vector<std::optional<PointerState>> script_;
    std::atomic<std::size_t> looks_ = 0;
};

PointerState at(double x, double y, bool left = false, bool right = false) {
    return {{x, y}, left, right};
}

/// Plays a script to the recorder and returns what it wrote. The clock starts at the origin and advances by
/// 1/128 second with each reading.
CursorRecording record(std::vector<std::optional<PointerState>> script, const CGRect& region = kRegion) {
    const test::TemporaryDirectory directory;
    auto pointer = std::make_unique<ScriptedPointer>(std::move(script));
    const ScriptedPointer& player = *pointer;
    auto readings = std::make_shared<std::atomic<int>>(0);
    CursorRecorder recorder(directory.file("cursor.json"), 1000, region, std::move(pointer),
                            [readings] { return hostSeconds(500 + (*readings)++ / 128.0); });
    recorder.start(hostSeconds(500));
    EXPECT_TRUE(test::waitUntil([&player] { return player.isThrough(); }, 10s));
    recorder.stopAndSave();
    return readCursorRecording(directory.file("cursor.json"));
}

TEST(CursorRecorder, NormalisesToTheRegionWithYUpwards) {
    struct Case {
        CGPoint location;
        bool isInside;
        CGPoint expected;
    };
    for (const Case& c : {Case{{100, 50}, true, {0, 1}}, Case{{200, 100}, true, {0.5, 0.5}},
                          Case{{250, 75}, true, {0.75, 0.75}}, Case{{300, 150}, false, {1, 0}},
                          Case{{0, 250}, false, {-0.5, -1}}, Case{{301, 40}, true, {1, 1}}}) {
        EXPECT_EQ(normalizedPoint(c.location, kRegion, c.isInside), c.expected)
            << c.location.x << ", " << c.location.y;
    }
    EXPECT_EQ(normalizedPoint({3, 4}, {{0, 0}, {0, 10}}, false), (CGPoint{0.5, 0.5}));
}

TEST(CursorRecorder, NormalisedRectangleHasItsOriginAtTheBottomLeft) {
    EXPECT_EQ(normalizedRect({{150, 50}, {50, 25}}, kRegion), (CGRect{{0.25, 0.75}, {0.25, 0.25}}));
    EXPECT_EQ(normalizedRect(kRegion, kRegion), (CGRect{{0, 0}, {1, 1}}));
    EXPECT_EQ(normalizedRect(kRegion, {{0, 0}, {10, 0}}), std::nullopt);
}

TEST(CursorRecorder, RateHasAFloor) {
    EXPECT_EQ(cursorSampleInterval(120), 8'333'333ns);
    EXPECT_EQ(cursorSampleInterval(30), 33'333'333ns);
    EXPECT_EQ(cursorSampleInterval(10), 33'333'333ns);
}

TEST(CursorRecorder, WritesEveryLookWithItsTimeInsideAndOutside) {
    // The first look only learns which buttons are held.
    const CursorRecording recording = record({at(0, 0), at(100, 50), at(200, 100), at(200, 100), at(0, 250)});
    EXPECT_EQ(recording.captureRegion, (CursorCaptureRegion{100, 50, 200, 100}));
    ASSERT_GE(recording.movementSamples.size(), 4U);
    const auto& samples = recording.movementSamples;
    EXPECT_EQ(samples[0], (CursorMovementSample{0, 0, 1, true}));
    EXPECT_EQ(samples[1], (CursorMovementSample{1 / 128.0, 0.5, 0.5, true}));
    EXPECT_EQ(samples[2], (CursorMovementSample{2 / 128.0, 0.5, 0.5, true})) << "no change detection";
    EXPECT_EQ(samples[3], (CursorMovementSample{3 / 128.0, -0.5, -1, false}));
    EXPECT_TRUE(recording.activitySamples.empty());
}

TEST(CursorRecorder, ButtonsBecomeTransitions) {
    const CursorRecording recording =
        record({at(150, 100), at(150, 100), at(150, 100, true), at(160, 100, true), at(160, 100, false, true),
                at(160, 100), at(160, 100)});
    std::vector<CursorActivityKind> kinds;
    for (const auto& sample : recording.activitySamples) kinds.push_back(sample.kind);
    EXPECT_THAT(kinds, ElementsAre(CursorActivityKind::leftMouseDown, CursorActivityKind::leftMouseUp,
                                   CursorActivityKind::rightMouseDown, CursorActivityKind::rightMouseUp));
    EXPECT_EQ(recording.activitySamples[0],
              (CursorActivitySample{1 / 128.0, CursorActivityKind::leftMouseDown, 0.25, 0.5, true}));
    EXPECT_EQ(recording.activitySamples[1].timeSeconds, recording.activitySamples[2].timeSeconds);
}

TEST(CursorRecorder, ButtonHeldAtTheStartGivesOnlyItsRelease) {
    const CursorRecording recording =
        record({at(150, 100, true), at(150, 100, true), at(150, 100, true), at(150, 100)});
    ASSERT_EQ(recording.activitySamples.size(), 1U);
    EXPECT_EQ(recording.activitySamples[0].kind, CursorActivityKind::leftMouseUp);
}

TEST(CursorRecorder, PointerThatCannotBeReadIsAtZeroAndPressesNothing) {
    const CursorRecording recording = record(
        {at(150, 100, true), at(150, 100, true), std::nullopt, at(150, 100, true), at(150, 100, true)});
    ASSERT_GE(recording.movementSamples.size(), 2U);
    EXPECT_EQ(recording.movementSamples[1].normalizedX, -0.5);
    EXPECT_TRUE(recording.activitySamples.empty());
}

TEST(CursorRecorder, TimeBeforeTheOriginIsZero) {
    const test::TemporaryDirectory directory;
    CursorRecorder recorder(
        directory.file("cursor.json"), 30, kRegion,
        std::make_unique<ScriptedPointer>(std::vector<std::optional<PointerState>>{at(1, 1)}),
        [] { return hostSeconds(10); });
    recorder.start(hostSeconds(20));
    recorder.start(hostSeconds(5));
    recorder.stopAndSave();
    const auto samples = readCursorRecording(directory.file("cursor.json")).movementSamples;
    ASSERT_GE(samples.size(), 2U) << "one at the start, one at the stop";
    EXPECT_EQ(samples.front().timeSeconds, 0) << "and the second start changes nothing";
}

TEST(CursorRecorder, WritesNoFileUnlessItRan) {
    const test::TemporaryDirectory directory;
    const auto still = [] {
        return std::make_unique<ScriptedPointer>(std::vector<std::optional<PointerState>>{at(1, 1)});
    };
    {
        CursorRecorder recorder(directory.file("cursor.json"), 120, kRegion, still());
        recorder.stopAndSave();
        recorder.start(hostTimeNow());
        recorder.stopWithoutSaving();
        recorder.stopAndSave();
        recorder.start(hostTimeNow());
    }
    EXPECT_EQ(directory.entryCount(), 0U);
    CursorRecorder recorder(directory.file("missing/cursor.json"), 120, kRegion, still());
    recorder.start(hostTimeNow());
    EXPECT_THROW(recorder.stopAndSave(), FileError);
}

}  // namespace
}  // namespace varnelle
