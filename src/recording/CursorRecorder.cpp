#include "recording/CursorRecorder.h"

#include <algorithm>
#include <exception>
#include <utility>

#include "camera/CursorRecordingFile.h"

namespace varnelle {
namespace {

constexpr int kMinimumSamplesPerSecond = 30;

}  // namespace

CGPoint normalizedPoint(CGPoint location, const CGRect& region, bool isInside) {
    if (region.isEmpty()) return {0.5, 0.5};
    const double x = (location.x - region.minX()) / region.width();
    const double y = 1 - (location.y - region.minY()) / region.height();
    if (!isInside) return {x, y};
    return {std::clamp(x, 0.0, 1.0), std::clamp(y, 0.0, 1.0)};
}

std::optional<CGRect> normalizedRect(const CGRect& rect, const CGRect& region) {
    if (region.isEmpty()) return std::nullopt;
    const double height = rect.height() / region.height();
    return CGRect{{(rect.minX() - region.minX()) / region.width(),
                   1 - ((rect.minY() - region.minY()) / region.height() + height)},
                  {rect.width() / region.width(), height}};
}

std::chrono::nanoseconds cursorSampleInterval(int samplesPerSecond) {
    return std::chrono::nanoseconds(1'000'000'000 / std::max(samplesPerSecond, kMinimumSamplesPerSecond));
}

CursorRecorder::CursorRecorder(const URL& outputURL, int samplesPerSecond, const CGRect& captureRegion,
                               std::unique_ptr<PointerInput> pointer, std::function<CMTime()> clock)
    : outputURL_(outputURL),
      sampleInterval_(cursorSampleInterval(samplesPerSecond)),
      captureRegion_(captureRegion),
      pointer_(std::move(pointer)),
      clock_(std::move(clock)) {
    recording_.captureRegion = {captureRegion.minX(), captureRegion.minY(), captureRegion.width(),
                                captureRegion.height()};
}

CursorRecorder::~CursorRecorder() {
    queue_.sync([this] { timer_ = nullptr; });
}

void CursorRecorder::start(CMTime origin) {
    queue_.sync([this, origin] {
        if (timer_ != nullptr) return;
        originHostTime_ = origin;
        clearSamples();
        // A button that is held already is no event.
        const PointerState held = pointer_->currentState().value_or(PointerState{});
        lastLeftPressed_ = held.isLeftButtonPressed;
        lastRightPressed_ = held.isRightButtonPressed;
        samplePosition();
        timer_ = std::make_unique<RepeatingTimer>(queue_, sampleInterval_, sampleInterval_,
                                                  [this] { samplePosition(); });
    });
}

void CursorRecorder::stopAndSave() {
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
        } catch (...) {
            failure = std::current_exception();
        }
    });
    if (failure) std::rethrow_exception(failure);
}

void CursorRecorder::stopWithoutSaving() {
    queue_.sync([this] {
        timer_ = nullptr;
        originHostTime_ = std::nullopt;
        clearSamples();
    });
}

void CursorRecorder::samplePosition() {
    if (!originHostTime_) return;
    const PointerState state =
        pointer_->currentState().value_or(PointerState{{0, 0}, lastLeftPressed_, lastRightPressed_});
    const bool isInside = captureRegion_.contains(state.location);
    const CGPoint place = normalizedPoint(state.location, captureRegion_, isInside);
    CursorMovementSample sample;
    sample.timeSeconds = sampleTime();
    sample.normalizedX = place.x;
    sample.normalizedY = place.y;
    sample.isVisible = isInside;
    recording_.movementSamples.push_back(sample);
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

double CursorRecorder::sampleTime() const {
    return clampedSeconds(clock_() - *originHostTime_);
}

void CursorRecorder::clearSamples() {
    recording_.movementSamples.clear();
    recording_.activitySamples.clear();
    recording_.windowContextSamples.clear();
    recording_.scrollSamples.clear();
    recording_.keyboardSamples.clear();
}

}  // namespace varnelle
