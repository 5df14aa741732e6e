#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <thread>

#include "camera/CursorRecordingFile.h"
#include "platform/linux/LinuxDesktop.h"
#include "recording/CursorRecorder.h"
#include "support/AccessibleWindowContent.h"
#include "support/KeyRobot.h"
#include "support/PatternWindow.h"
#include "support/PrivateDesktop.h"
#include "support/TemporaryDirectory.h"
#include "support/Waiting.h"

namespace varnelle {
namespace {

using namespace std::chrono_literals;
using testing::ElementsAre;

constexpr CGRect kRegion{{0, 0}, {800, 600}};
/// Several intervals of the pointer's.
constexpr auto kSlowCall = 50ms;

/// Counts what the recorder reads, so that a test knows when something has been seen.
struct ReadCounts {
    std::atomic<int> pointerLooks = 0;
    std::atomic<int> windowSamples = 0;
    std::atomic<int> focusedElements = 0;
    std::atomic<int> scrolls = 0;
    std::atomic<int> keys = 0;
    std::atomic<bool> isLeftPressed = false;
    std::atomic<int> slowCalls = 0;
    std::atomic<int> mostLooksDuringSlowCall = 0;
};

class CountedPointer final : public PointerInput {
public:
    CountedPointer(std::unique_ptr<PointerInput> pointer, ReadCounts& counts)
        : pointer_(std::move(pointer)), counts_(counts) {}
    std::optional<PointerState> currentState() override {
        const auto state = pointer_->currentState();
        if (state) counts_.isLeftPressed = state->isLeftButtonPressed;
        ++counts_.pointerLooks;
        return state;
    }

private:
    std::unique_ptr<PointerInput> pointer_;
    ReadCounts& counts_;
};

class CountedMonitors final : public InputMonitors {
public:
    CountedMonitors(std::unique_ptr<InputMonitors> monitors, ReadCounts& counts)
        : monitors_(std::move(monitors)), counts_(counts) {}
    std::unique_ptr<InputMonitor> addScrollMonitor(std::function<void(const ScrollEvent&)> handler) override {
        return monitors_->addScrollMonitor([this, handler = std::move(handler)](const ScrollEvent& event) {
            handler(event);
            ++counts_.scrolls;
        });
    }
    std::unique_ptr<InputMonitor> addKeyMonitor(std::function<void(const KeyDownEvent&)> handler) override {
        return monitors_->addKeyMonitor([this, handler = std::move(handler)](const KeyDownEvent& event) {
            handler(event);
            ++counts_.keys;
        });
    }

private:
    std::unique_ptr<InputMonitors> monitors_;
    ReadCounts& counts_;
};

class CountedFocus final : public FocusInput {
public:
    CountedFocus(std::unique_ptr<FocusInput> focus, ReadCounts& counts)
        : focus_(std::move(focus)), counts_(counts) {}
    void beginSample() override {
        ++counts_.windowSamples;
        focus_->beginSample();
    }
    std::optional<std::int64_t> frontmostProcess() override { return focus_->frontmostProcess(); }
    std::optional<CGRect> windowFrame(std::int64_t process) override { return focus_->windowFrame(process); }
    std::unique_ptr<AccessibilityElement> elementUnderPointer() override {
        return timed([this] { return focus_->elementUnderPointer(); });
    }
    std::unique_ptr<AccessibilityElement> focusedElement(std::int64_t process) override {
        auto element = timed([this, process] { return focus_->focusedElement(process); });
        if (element != nullptr) ++counts_.focusedElements;
        return element;
    }

private:
    template <typename Call>
    std::unique_ptr<AccessibilityElement> timed(Call call) {
        const int looksBefore = counts_.pointerLooks;
        const auto begin = std::chrono::steady_clock::now();
        auto element = call();
        if (std::chrono::steady_clock::now() - begin >= kSlowCall) {
            ++counts_.slowCalls;
            const int looks = counts_.pointerLooks - looksBefore;
            counts_.mostLooksDuringSlowCall = std::max(counts_.mostLooksDuringSlowCall.load(), looks);
        }
        return element;
    }

    std::unique_ptr<FocusInput> focus_;
    ReadCounts& counts_;
};

/// A recorder on a private desktop with a window of a real toolkit.
class TelemetryTest : public testing::Test {
protected:
    void SetUp() override {
        if (const char* reason = test::PrivateDesktop::missing()) GTEST_SKIP() << reason;
        desktop_ = std::make_unique<test::PrivateDesktop>();
        LinuxDesktop desktop(desktop_->server.displayName());
        recorder_ = std::make_unique<CursorRecorder>(
            directory_.file("cursor.json"), 120, kRegion,
            CursorInputs{std::make_unique<CountedPointer>(desktop.makePointerInput(), counts_),
                         std::make_unique<CountedMonitors>(desktop.makeInputMonitors(), counts_),
                         std::make_unique<CountedFocus>(desktop.makeFocusInput(), counts_)});
    }
    void awaitMore(const std::atomic<int>& count, int more) {
        const int before = count;
        EXPECT_TRUE(test::waitUntil([&] { return count >= before + more; }, test::kPatience));
    }
    /// A press long enough to be seen.
    void click() {
        for (const bool isPressed : {true, false}) {
            desktop_->robot.setButton(1, isPressed);
            EXPECT_TRUE(test::waitUntil([&] { return counts_.isLeftPressed == isPressed; }, test::kPatience));
        }
    }
    void turnWheel(int button) {
        const int before = counts_.scrolls;
        desktop_->robot.setButton(button, true);
        desktop_->robot.setButton(button, false);
        EXPECT_TRUE(test::waitUntil([&] { return counts_.scrolls > before; }, test::kPatience));
    }
    CursorRecording save() {
        recorder_->stopAndSave();
        return readCursorRecording(directory_.file("cursor.json"));
    }

    test::TemporaryDirectory directory_;
    std::unique_ptr<test::PrivateDesktop> desktop_;
    ReadCounts counts_;
    std::unique_ptr<CursorRecorder> recorder_;
};

/// The window's content lies below its title bar, wherever the window manager put that.
bool isAbout(const std::optional<CGRect>& frame, const test::ContentRect& content) {
    return frame && std::abs(frame->width() * kRegion.width() - content.width) < 0.5 &&
           std::abs(frame->height() * kRegion.height() - content.height) < 0.5;
}

TEST_F(TelemetryTest, FileTellsWhatWasDone) {
    desktop_->robot.moveTo(780, 580);
    recorder_->start(hostTimeNow());
    awaitMore(counts_.windowSamples, 3);
    desktop_->robot.moveTo(400, 150);
    turnWheel(5);
    test::KeyRobot keys(desktop_->server.displayName());
    keys.type(U'a');
    keys.type(test::key::kLeft);
    keys.type(U'a', {test::key::kControl});
    EXPECT_TRUE(test::waitUntil([&] { return counts_.keys >= 3; }, test::kPatience));
    click();
    // When the second is told, the sample with the first one is there.
    awaitMore(counts_.focusedElements, 2);
    const CursorRecording recording = save();

    EXPECT_EQ(recording.movementSamples.front().normalizedX, 780 / kRegion.width());
    EXPECT_EQ(recording.movementSamples.back().normalizedX, 400 / kRegion.width());
    EXPECT_EQ(recording.movementSamples.back().normalizedY, 1 - 150 / kRegion.height());
    ASSERT_EQ(recording.activitySamples.size(), 2U);
    EXPECT_EQ(recording.activitySamples[0].kind, CursorActivityKind::leftMouseDown);
    EXPECT_EQ(recording.activitySamples[0].normalizedX, 0.5);
    ASSERT_EQ(recording.scrollSamples.size(), 1U);
    EXPECT_EQ(recording.scrollSamples[0].normalizedDeltaY, -48 / kRegion.height());
    std::vector<CursorKeyboardActivityKind> kinds;
    for (const auto& sample : recording.keyboardSamples) kinds.push_back(sample.kind);
    EXPECT_THAT(kinds, ElementsAre(CursorKeyboardActivityKind::typing, CursorKeyboardActivityKind::navigation,
                                   CursorKeyboardActivityKind::shortcut));

    // Others lack what the program, or the bus, didn't tell in time.
    const auto tellsTheLineEdit = [](const CursorWindowContextSample& context) {
        return context.keyboardFocusedElementRole == "AXTextField" &&
               isAbout(context.keyboardFocusedElementFrame, test::kLineEditContent) &&
               context.activeWindowFrame &&
               context.activeWindowFrame->width() * kRegion.width() >= test::kWindowContent.width;
    };
    EXPECT_THAT(recording.windowContextSamples, testing::Contains(testing::Truly(tellsTheLineEdit)));
}

TEST_F(TelemetryTest, ProgramThatHangsDoesNotDelayThePointer) {
    desktop_->robot.moveTo(400, 300);
    recorder_->start(hostTimeNow());
    awaitMore(counts_.windowSamples, 3);
    // A stopped program holds up one question each second, for twelve intervals of the pointer's. If the
    // pointer waited for that question it would never be looked at during one; on a busy machine it still is
    // during some.
    desktop_->window->freeze();
    const auto sampledThroughout = [this] {
        return counts_.slowCalls >= 3 && counts_.mostLooksDuringSlowCall >= 4;
    };
    EXPECT_TRUE(test::waitUntil(sampledThroughout, test::kPatience))
        << counts_.mostLooksDuringSlowCall << " looks in " << counts_.slowCalls << " slow calls";
    const int windowSamples = counts_.windowSamples;
    const auto begin = std::chrono::steady_clock::now();
    const CursorRecording recording = save();
    EXPECT_LT(std::chrono::steady_clock::now() - begin, 10s) << "nor does it hold up the stop";
    EXPECT_GE(counts_.windowSamples, windowSamples + 1);
    desktop_->window->thaw();
    ASSERT_FALSE(recording.windowContextSamples.empty());
    EXPECT_TRUE(recording.windowContextSamples.back().activeWindowFrame.has_value());
    EXPECT_FALSE(recording.windowContextSamples.back().keyboardFocusedElementFrame.has_value());
}

}  // namespace
}  // namespace varnelle
