#pragma once

#include <chrono>
#include <functional>
#include <memory>
#include <optional>

#include "camera/CursorRecording.h"
#include "foundation/CMTime.h"
#include "foundation/Geometry.h"
#include "foundation/HostClock.h"
#include "foundation/Queue.h"
#include "foundation/RepeatingTimer.h"
#include "foundation/URL.h"
#include "platform/PointerInput.h"

namespace varnelle {

/// A place in the region as fractions of its size, origin bottom left. Clamped to 0 through 1 if `isInside`;
/// the middle for a region without area.
CGPoint normalizedPoint(CGPoint location, const CGRect& region, bool isInside);
/// A rectangle in the same space; absent for a region without area.
std::optional<CGRect> normalizedRect(const CGRect& rect, const CGRect& region);
/// Time between two looks at the pointer; rates below 30 a second are raised to it.
std::chrono::nanoseconds cursorSampleInterval(int samplesPerSecond);

/// Records what the pointer does beside a recording, at a fixed rate, and writes it as the session's
/// telemetry file.
///
/// All state lives on a queue of the recorder's own. The public operations wait for that queue; they may be
/// called on any thread but that.
class CursorRecorder {
public:
    /// `captureRegion` in global points, origin top left. `clock` is what sample times are read from.
    CursorRecorder(const URL& outputURL, int samplesPerSecond, const CGRect& captureRegion,
                   std::unique_ptr<PointerInput> pointer, std::function<CMTime()> clock = hostTimeNow);
    ~CursorRecorder();
    CursorRecorder(const CursorRecorder&) = delete;
    CursorRecorder& operator=(const CursorRecorder&) = delete;

    /// Begins to sample, with times counted from `origin`. Does nothing if it runs already.
    void start(CMTime origin);
    /// Takes a last sample, ends and writes the file; without a start before, it writes none. Throws
    /// `FileError`.
    void stopAndSave();
    void stopWithoutSaving();

private:
    void samplePosition();
    void noteButton(bool isPressed, bool& lastPressed, CursorActivityKind down, CursorActivityKind up,
                    const CursorMovementSample& place);
    [[nodiscard]] double sampleTime() const;
    void clearSamples();

    const URL outputURL_;
    const std::chrono::nanoseconds sampleInterval_;
    const CGRect captureRegion_;
    const std::unique_ptr<PointerInput> pointer_;
    const std::function<CMTime()> clock_;

    // From here on queue only.
    std::optional<CMTime> originHostTime_;
    CursorRecording recording_;
    bool lastLeftPressed_ = false;
    bool lastRightPressed_ = false;
    std::unique_ptr<RepeatingTimer> timer_;

    // Last, so that it has run all its blocks before what they use goes.
    SerialQueue queue_{"com.varnelle.recording.cursor"};
};

}  // namespace varnelle
