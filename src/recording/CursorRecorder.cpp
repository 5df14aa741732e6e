#include "recording/CursorRecorder.h"

#include <algorithm>
#include <cmath>
#include <exception>
#include <utility>

#include "camera/CursorRecordingFile.h"

namespace varnelle {
namespace {

constexpr int kMinimumSamplesPerSecond = 30;
constexpr std::chrono::nanoseconds windowSampleInterval{100'000'000};
/// Samples of the pointer after which a line is added to the journal: a second at the usual rate.
constexpr std::size_t kSamplesPerJournalLine = 120;
/// Scrolling by less is none.
constexpr double kLeastScrollDelta = 0.000001;
/// Scroll events closer together become one sample.
constexpr double kScrollMergeSeconds = 1.0 / 90;

}  // namespace

std::chrono::nanoseconds cursorSampleInterval(int samplesPerSecond) {
    return std::chrono::nanoseconds(1'000'000'000 / std::max(samplesPerSecond, kMinimumSamplesPerSecond));
}

CursorRecorder::CursorRecorder(const URL& outputURL, int samplesPerSecond, const CGRect& captureRegion,
                               CursorInputs inputs, std::function<CMTime()> clock)
    : outputURL_(outputURL),
      sampleInterval_(cursorSampleInterval(samplesPerSecond)),
      captureRegion_(captureRegion),
      inputs_(std::move(inputs)),
      clock_(std::move(clock)),
      journal_(TelemetryJournal::beside(outputURL)) {
    recording_.captureRegion = {captureRegion.minX(), captureRegion.minY(), captureRegion.width(),
                                captureRegion.height()};
}

CursorRecorder::~CursorRecorder() {
    windowTimer_ = nullptr;
    removeMonitors();
    queue_.sync([this] { timer_ = nullptr; });
}

void CursorRecorder::start(CMTime origin) {
    if (isRunning()) return;
    queue_.sync([this, origin] {
        originHostTime_ = origin;
        clearSamples();
        // A button that is held already is no event.
        const PointerState held = inputs_.pointer->currentState().value_or(PointerState{});
        lastLeftPressed_ = held.isLeftButtonPressed;
        lastRightPressed_ = held.isRightButtonPressed;
        lastWindowContext_ = {};
        samplePosition();
    });
    installMonitors();
    queue_.sync([this] {
        timer_ = std::make_unique<RepeatingTimer>(queue_, sampleInterval_, sampleInterval_,
                                                  [this] { samplePosition(); });
    });
    if (inputs_.focus == nullptr) return;
    windowTimer_ = std::make_unique<RepeatingTimer>(focusQueue_, std::chrono::nanoseconds(0),
                                                    windowSampleInterval, [this] { sampleWindow(); });
}

void CursorRecorder::stopAndSave() {
    if (isRunning()) focusQueue_.sync([this] { sampleWindow(); });
    windowTimer_ = nullptr;
    removeMonitors();
    // A tick of the timer may still have been waiting.
    focusQueue_.sync([] {});
    // Only this thread keeps the exception; in the queue's result the queue's thread might be its last owner
    // while a caller still reads its text.
    std::exception_ptr failure;
    queue_.sync([this, &failure] {
        samplePosition();
        timer_ = nullptr;
        if (!originHostTime_) return;
        originHostTime_ = std::nullopt;
        recording_.sortSamples();
        try {
            writeCursorRecording(recording_, outputURL_);
            journal_.remove();
        } catch (...) {
            failure = std::current_exception();
        }
    });
    if (failure) std::rethrow_exception(failure);
}

void CursorRecorder::stopWithoutSaving() {
    windowTimer_ = nullptr;
    removeMonitors();
    focusQueue_.sync([] {});
    queue_.sync([this] {
        timer_ = nullptr;
        // After a save that failed the journal is all that is left.
        if (originHostTime_) journal_.remove();
        originHostTime_ = std::nullopt;
        clearSamples();
    });
}

bool CursorRecorder::isRunning() {
    return queue_.sync([this] { return timer_ != nullptr; });
}

void CursorRecorder::installMonitors() {
    if (inputs_.monitors == nullptr || scrollMonitor_ != nullptr || keyMonitor_ != nullptr) return;
    // Events are timed when they arrive, or happened; the queue may be busy.
    scrollMonitor_ = inputs_.monitors->addScrollMonitor([this](const ScrollEvent& event) {
        const CMTime time =
            clock_() - hostTimeFromNanoseconds(std::llround(event.ageSeconds * kHostTimescale));
        queue_.async([this, time, event] { addScroll(time, event); });
    });
    keyMonitor_ = inputs_.monitors->addKeyMonitor([this](const KeyDownEvent& event) {
        queue_.async([this, time = clock_(), event] { addKey(time, event); });
    });
}

void CursorRecorder::removeMonitors() {
    scrollMonitor_ = nullptr;
    keyMonitor_ = nullptr;
}

void CursorRecorder::sampleWindow() {
    if (inputs_.focus == nullptr) return;
    const CMTime time = clock_();
    auto context = readWindowContext(*inputs_.focus, captureRegion_);
    if (!context) return;
    queue_.async([this, time, context = *std::move(context)] { addWindowContext(time, context); });
}

void CursorRecorder::samplePosition() {
    if (!originHostTime_) return;
    const PointerState state =
        inputs_.pointer->currentState().value_or(PointerState{{0, 0}, lastLeftPressed_, lastRightPressed_});
    const bool isInside = captureRegion_.contains(state.location);
    lastCursorIsVisible_ = isInside;
    const CGPoint place = normalizedPoint(state.location, captureRegion_, isInside);
    CursorMovementSample sample;
    sample.timeSeconds = sampleTime(clock_());
    sample.normalizedX = place.x;
    sample.normalizedY = place.y;
    sample.isVisible = isInside;
    recording_.movementSamples.push_back(sample);
    if (recording_.movementSamples.size() - putAside_.movements >= kSamplesPerJournalLine) putAside();
    noteButton(state.isLeftButtonPressed, lastLeftPressed_, CursorActivityKind::leftMouseDown,
               CursorActivityKind::leftMouseUp, sample);
    noteButton(state.isRightButtonPressed, lastRightPressed_, CursorActivityKind::rightMouseDown,
               CursorActivityKind::rightMouseUp, sample);
}

void CursorRecorder::noteButton(bool isPressed, bool& lastPressed, CursorActivityKind down,
                                CursorActivityKind up, const CursorMovementSample& place) {
    if (isPressed == lastPressed) return;
    lastPressed = isPressed;
    CursorActivitySample sample;
    sample.timeSeconds = place.timeSeconds;
    sample.kind = isPressed ? down : up;
    sample.normalizedX = place.normalizedX;
    sample.normalizedY = place.normalizedY;
    sample.isVisible = place.isVisible;
    recording_.activitySamples.push_back(sample);
}

void CursorRecorder::addWindowContext(const CMTime& time, const WindowContext& context) {
    if (!originHostTime_ || context == lastWindowContext_) return;
    lastWindowContext_ = context;
    CursorWindowContextSample sample;
    sample.timeSeconds = sampleTime(time);
    if (context.windowFrame) sample.activeWindowFrame = normalizedRect(*context.windowFrame, captureRegion_);
    sample.focusedElementFrame = context.focusedElementFrame;
    sample.focusedElementRole = context.focusedElementRole;
    sample.keyboardFocusedElementFrame = context.keyboardFocusedElementFrame;
    sample.keyboardFocusedElementRole = context.keyboardFocusedElementRole;
    recording_.windowContextSamples.push_back(std::move(sample));
}

void CursorRecorder::addScroll(const CMTime& time, const ScrollEvent& event) {
    if (!originHostTime_) return;
    if (std::abs(event.scrollingDeltaX) <= kLeastScrollDelta &&
        std::abs(event.scrollingDeltaY) <= kLeastScrollDelta)
        return;
    const CGSize size = captureRegion_.size;
    CursorScrollSample sample;
    sample.timeSeconds = sampleTime(time);
    sample.normalizedDeltaX = size.width > 0 ? event.scrollingDeltaX / size.width : 0;
    sample.normalizedDeltaY = size.height > 0 ? event.scrollingDeltaY / size.height : 0;
    sample.isMomentum = event.isMomentum;
    sample.isVisible =
        captureRegion_.contains(inputs_.pointer->currentState().value_or(PointerState{}).location);
    auto& samples = recording_.scrollSamples;
    if (samples.empty() || sample.timeSeconds - samples.back().timeSeconds >= kScrollMergeSeconds) {
        samples.push_back(sample);
        return;
    }
    CursorScrollSample& last = samples.back();
    last.normalizedDeltaX += sample.normalizedDeltaX;
    last.normalizedDeltaY += sample.normalizedDeltaY;
    last.isMomentum = last.isMomentum || sample.isMomentum;
    last.isVisible = last.isVisible || sample.isVisible;
}

void CursorRecorder::addKey(const CMTime& time, const KeyDownEvent& event) {
    if (!originHostTime_) return;
    recording_.keyboardSamples.push_back(
        {sampleTime(time), keyboardActivityKind(event), lastCursorIsVisible_});
}

double CursorRecorder::sampleTime(const CMTime& time) const {
    return clampedSeconds(time - *originHostTime_);
}

/// All but the newest scroll sample, which may still grow.
void CursorRecorder::putAside() {
    CursorRecording samples;
    samples.captureRegion = recording_.captureRegion;
    const auto take = [](const auto& all, std::size_t& taken, std::size_t end, auto& part) {
        part.assign(all.begin() + static_cast<std::ptrdiff_t>(taken),
                    all.begin() + static_cast<std::ptrdiff_t>(end));
        taken = end;
    };
    const CursorRecording& all = recording_;
    take(all.movementSamples, putAside_.movements, all.movementSamples.size(), samples.movementSamples);
    take(all.activitySamples, putAside_.activities, all.activitySamples.size(), samples.activitySamples);
    take(all.windowContextSamples, putAside_.windowContexts, all.windowContextSamples.size(),
         samples.windowContextSamples);
    const std::size_t finishedScrolls = all.scrollSamples.empty() ? 0 : all.scrollSamples.size() - 1;
    take(all.scrollSamples, putAside_.scrolls, finishedScrolls, samples.scrollSamples);
    take(all.keyboardSamples, putAside_.keys, all.keyboardSamples.size(), samples.keyboardSamples);
    journal_.add(std::move(samples));
}

void CursorRecorder::clearSamples() {
    putAside_ = {};
    recording_.movementSamples.clear();
    recording_.activitySamples.clear();
    recording_.windowContextSamples.clear();
    recording_.scrollSamples.clear();
    recording_.keyboardSamples.clear();
}

}  // namespace varnelle
