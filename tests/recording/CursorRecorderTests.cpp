#include "recording/CursorRecorder.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <atomic>
#include <mutex>

#include "camera/CursorRecordingFile.h"
#include "recording/FakeInputs.h"
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
    [[nodiscard]] std::size_t lookCount() const { return looks_; }

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
    CursorRecorder recorder(directory.file("cursor.json"), 1000, region,
                            {std::move(pointer), nullptr, nullptr},
                            [readings] { return hostSeconds(500 + (*readings)++ / 128.0); });
    recorder.start(hostSeconds(500));
    EXPECT_TRUE(test::waitUntil([&player] { return player.isThrough(); }, 10s));
    recorder.stopAndSave();
    return readCursorRecording(directory.file("cursor.json"));
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
        {std::make_unique<ScriptedPointer>(std::vector<std::optional<PointerState>>{at(1, 1)}), nullptr,
         nullptr},
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
        return CursorInputs{
            std::make_unique<ScriptedPointer>(std::vector<std::optional<PointerState>>{at(1, 1)}), nullptr,
            nullptr};
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

/// A recorder on a desktop that the test plays: it sets the clock, scrolls, presses keys and changes the
/// front window. The pointer stays at one place.
struct Scene {
    explicit Scene(CGPoint pointer = {150, 100}, const CGRect& region = kRegion)
        : recorder(directory.file("cursor.json"), 120, region, inputs(pointer),
                   [this] { return hostSeconds(seconds); }) {
        recorder.start(hostSeconds(100));
    }
    CursorInputs inputs(CGPoint pointer) {
        auto fakeMonitors = std::make_unique<test::FakeInputMonitors>();
        auto fakeFocus = std::make_unique<test::FakeFocusInput>();
        monitors = fakeMonitors.get();
        focus = fakeFocus.get();
        auto stillPointer = std::make_unique<ScriptedPointer>(
            std::vector<std::optional<PointerState>>{PointerState{pointer, false, false}});
        player = stillPointer.get();
        return {std::move(stillPointer), std::move(fakeMonitors), std::move(fakeFocus)};
    }
    void scroll(double time, const ScrollEvent& event) {
        seconds = 100 + time;
        monitors->scroll(event);
    }
    /// Sets the clock, for the window samples too.
    void setTime(double time) {
        seconds = 100 + time;
        awaitSamples();
    }
    /// Shows a state of the desktop to the recorder until it has surely seen it.
    void show(double time, const test::FakeFocusInput::State& state) {
        setTime(time);
        focus->setState(state);
        awaitSamples();
    }
    /// Waits for a window sample that has begun after this call, its reading of the clock included.
    void awaitSamples() {
        const int seen = focus->sampleCount();
        EXPECT_TRUE(test::waitUntil([&] { return focus->sampleCount() >= seen + 2; }, 10s));
    }
    CursorRecording save() {
        recorder.stopAndSave();
        return readCursorRecording(directory.file("cursor.json"));
    }

    test::TemporaryDirectory directory;
    std::atomic<double> seconds = 100;
    test::FakeInputMonitors* monitors = nullptr;
    test::FakeFocusInput* focus = nullptr;
    ScriptedPointer* player = nullptr;
    CursorRecorder recorder;
};

TEST(CursorRecorder, ScrollsCloseTogetherAreOneSample) {
    Scene scene;
    scene.scroll(1, {20, -10, false});
    scene.scroll(1.005, {20, 5, true});
    // From here on the distance is taken from the sample's own time, which stays that of its first event.
    scene.scroll(1.0125, {0, 10, false});
    scene.scroll(1.0325, {-2, 0, false});
    scene.scroll(2, {0.000001, -0.000001, true});
    scene.scroll(3, {0.0000011, 0, false});
    const auto samples = scene.save().scrollSamples;
    ASSERT_EQ(samples.size(), 4U);
    EXPECT_NEAR(samples[0].timeSeconds, 1, 1e-9);
    EXPECT_NEAR(samples[0].normalizedDeltaX, 40 / kRegion.width(), 1e-12);
    EXPECT_NEAR(samples[0].normalizedDeltaY, -5 / kRegion.height(), 1e-12);
    EXPECT_TRUE(samples[0].isMomentum);
    EXPECT_NEAR(samples[1].timeSeconds, 1.0125, 1e-9);
    EXPECT_FALSE(samples[1].isMomentum);
    EXPECT_NEAR(samples[2].normalizedDeltaX, -2 / kRegion.width(), 1e-12);
    EXPECT_NEAR(samples[3].timeSeconds, 3, 1e-9) << "the one at 2 s is none";
}

TEST(CursorRecorder, ScrollsAreTimedWhenTheyHappened) {
    Scene scene;
    // Two that arrive together, 20 ms apart, and one that is older than the recording.
    scene.scroll(1, {1, 0, false, 0.03});
    scene.scroll(1, {1, 0, false, 0.01});
    scene.scroll(0.001, {1, 0, false, 0.5});
    const auto samples = scene.save().scrollSamples;
    ASSERT_EQ(samples.size(), 2U) << "the last one lies before the one before it, and so belongs to that";
    EXPECT_NEAR(samples[0].timeSeconds, 0.97, 1e-9);
    EXPECT_NEAR(samples[1].timeSeconds, 0.99, 1e-9);
}

TEST(CursorRecorder, EventsTellWhetherThePointerIsInTheRegion) {
    for (const bool isInside : {true, false}) {
        Scene scene(isInside ? CGPoint{150, 100} : CGPoint{10, 10});
        scene.scroll(1, {0, 1, false});
        scene.monitors->press({});
        const CursorRecording recording = scene.save();
        ASSERT_EQ(recording.scrollSamples.size(), 1U);
        ASSERT_EQ(recording.keyboardSamples.size(), 1U);
        EXPECT_EQ(recording.scrollSamples[0].isVisible, isInside);
        EXPECT_EQ(recording.keyboardSamples[0].isVisible, isInside);
    }
}

TEST(CursorRecorder, ScrollInARegionWithoutAreaIsZero) {
    Scene scene({150, 100}, {{0, 0}, {0, 10}});
    scene.scroll(1, {5, 5, false});
    const auto samples = scene.save().scrollSamples;
    ASSERT_EQ(samples.size(), 1U);
    EXPECT_EQ(samples[0].normalizedDeltaX, 0);
    EXPECT_EQ(samples[0].normalizedDeltaY, 0.5);
    EXPECT_FALSE(samples[0].isVisible);
}

TEST(CursorRecorder, KeysAreStoredInOrderAsTheirKind) {
    Scene scene;
    for (const auto& [time, key] :
         {std::pair{1.0, KeyDownEvent{}}, std::pair{2.0, KeyDownEvent{.isNavigationKey = true}},
          std::pair{0.5, KeyDownEvent{.hasCommand = true}}}) {
        scene.seconds = 100 + time;
        scene.monitors->press(key);
    }
    const auto samples = scene.save().keyboardSamples;
    EXPECT_THAT(samples,
                ElementsAre(CursorKeyboardActivitySample{0.5, CursorKeyboardActivityKind::shortcut, true},
                            CursorKeyboardActivitySample{1, CursorKeyboardActivityKind::typing, true},
                            CursorKeyboardActivitySample{2, CursorKeyboardActivityKind::navigation, true}));
}

TEST(CursorRecorder, WindowSamplesComeOnlyWithAChange) {
    Scene scene;
    scene.show(1, {.process = 7, .windowFrame = CGRect{{100, 50}, {100, 50}}});
    scene.show(2, {.process = 7, .windowFrame = CGRect{{100, 50}, {100, 50}}});
    scene.show(3, {.process = std::nullopt});
    scene.show(4, {.process = 7, .windowFrame = CGRect{{100, 50}, {100, 50}}});
    test::FakeElement field("AXTextField", CGRect{{120, 60}, {40, 20}});
    scene.show(5, {.process = 7,
                   .windowFrame = CGRect{{100, 50}, {100, 50}},
                   .underPointer = &field,
                   .withKeyboard = &field});
    scene.show(6, {.process = 7, .windowFrame = CGRect{{100, 50}, {100, 50}}, .withKeyboard = &field});
    scene.show(7, {.process = 7});
    const auto samples = scene.save().windowContextSamples;
    std::vector<double> times;
    for (const auto& sample : samples) times.push_back(sample.timeSeconds);
    ASSERT_THAT(times, ElementsAre(1, 5, 6, 7));
    const CGRect fieldFrame{{0.1, 0.7}, {0.2, 0.2}};
    EXPECT_EQ(samples[0].activeWindowFrame, (CGRect{{0, 0.5}, {0.5, 0.5}}));
    EXPECT_FALSE(samples[0].focusedElementRole.has_value());
    EXPECT_EQ(samples[1].focusedElementRole, "AXTextField");
    ASSERT_TRUE(samples[1].keyboardFocusedElementFrame.has_value());
    EXPECT_NEAR(samples[1].keyboardFocusedElementFrame->minY(), fieldFrame.minY(), 1e-12);
    EXPECT_FALSE(samples[2].focusedElementFrame.has_value());
    EXPECT_EQ(samples[2].keyboardFocusedElementRole, "AXTextField");
    EXPECT_FALSE(samples[3].activeWindowFrame.has_value());
}

TEST(CursorRecorder, LastWindowSampleIsTakenAtTheStop) {
    Scene scene;
    scene.show(1, {.process = 7});
    scene.setTime(2);
    // Between two ticks of the timer, unless the machine is slow: the stop has to look for itself.
    scene.focus->setState({.process = 7, .windowFrame = kRegion});
    const auto samples = scene.save().windowContextSamples;
    ASSERT_EQ(samples.size(), 1U);
    EXPECT_EQ(samples[0].timeSeconds, 2);
}

TEST(CursorRecorder, MonitorsAreThereOnlyWhileItRuns) {
    Scene scene;
    EXPECT_EQ(scene.monitors->installedCount(), 2);
    scene.recorder.start(hostSeconds(100));
    EXPECT_EQ(scene.monitors->installedCount(), 2);
    scene.save();
    EXPECT_EQ(scene.monitors->installedCount(), 0);
    scene.recorder.start(hostSeconds(100));
    EXPECT_EQ(scene.monitors->installedCount(), 2);
    scene.recorder.stopWithoutSaving();
    EXPECT_EQ(scene.monitors->installedCount(), 0);
    EXPECT_EQ(scene.monitors->mostInstalled(), 2);
}

TEST(CursorRecorder, RefusedMonitorsLeaveTheRest) {
    test::TemporaryDirectory directory;
    auto monitors = std::make_unique<test::FakeInputMonitors>();
    monitors->refuses = true;
    CursorRecorder recorder(
        directory.file("cursor.json"), 120, kRegion,
        {std::make_unique<ScriptedPointer>(std::vector<std::optional<PointerState>>{at(150, 100)}),
         std::move(monitors), nullptr});
    recorder.start(hostTimeNow());
    recorder.stopAndSave();
    const CursorRecording recording = readCursorRecording(directory.file("cursor.json"));
    EXPECT_GE(recording.movementSamples.size(), 2U);
    EXPECT_TRUE(recording.scrollSamples.empty());
    EXPECT_TRUE(recording.keyboardSamples.empty());
}

TEST(CursorRecorder, PointerIsSampledWhileAProgramDoesNotAnswer) {
    Scene scene;
    scene.focus->blockSamples();
    ASSERT_TRUE(test::waitUntil([&] { return scene.focus->isBlocked(); }, 10s));
    // The pointer is still looked at, and events still arrive, while the sample hangs.
    const std::size_t before = scene.player->lookCount();
    EXPECT_TRUE(test::waitUntil([&] { return scene.player->lookCount() >= before + 24; }, 30s));
    EXPECT_TRUE(scene.focus->isBlocked());
    scene.focus->unblockSamples();
    scene.save();
}

}  // namespace
}  // namespace varnelle
