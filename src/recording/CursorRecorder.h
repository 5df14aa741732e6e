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
#include "platform/FocusInput.h"
#include "platform/InputMonitors.h"
#include "platform/PointerInput.h"
#include "recording/ElementRules.h"
#include "recording/TelemetryJournal.h"

namespace varnelle {

/// Time between two looks at the pointer; rates below 30 a second are raised to it.
std::chrono::nanoseconds cursorSampleInterval(int samplesPerSecond);

/// What the recorder listens to.
struct CursorInputs {
    std::unique_ptr<PointerInput> pointer;
    std::unique_ptr<InputMonitors> monitors;  ///< null for no scrolling and no keys
    std::unique_ptr<FocusInput> focus;        ///< null for no windows
};

/// Records what pointer and keyboard do beside a recording, and what they do it to, and writes it as the
/// session's telemetry file. While it runs, a journal beside that file holds all but the last second. The
/// pointer is looked at at a fixed rate, the windows ten times a second; scrolling and keys arrive as events.
///
/// The samples live on a queue of the recorder's own. Windows and accessibility elements are read on a second
/// one, which hands on finished samples with the time at which reading began: other programs answer there,
/// and one that is slow must not delay the pointer.
///
/// The public operations wait for these queues; all of them, and the destruction, are for one thread, which
/// must be none of them.
class CursorRecorder {
public:
    /// `captureRegion` in global points, origin top left. `clock` is what sample times are read from, on
    /// several threads at once.
    CursorRecorder(const URL& outputURL, int samplesPerSecond, const CGRect& captureRegion,
                   CursorInputs inputs, std::function<CMTime()> clock = hostTimeNow);
    ~CursorRecorder();
    CursorRecorder(const CursorRecorder&) = delete;
    CursorRecorder& operator=(const CursorRecorder&) = delete;

    /// Begins to sample, with times counted from `origin`. Does nothing if it runs already.
    void start(CMTime origin);
    /// Takes a last sample of everything, ends and writes the file; without a start before, it writes none.
    /// Throws `FileError`. A program that doesn't answer delays this by up to half a second.
    void stopAndSave();
    void stopWithoutSaving();

private:
    [[nodiscard]] bool isRunning();
    void installMonitors();
    void removeMonitors();

    // On the focus queue.
    void sampleWindow();

    // On the queue.
    void samplePosition();
    void noteButton(bool isPressed, bool& lastPressed, CursorActivityKind down, CursorActivityKind up,
                    const CursorMovementSample& place);
    void addWindowContext(const CMTime& time, const WindowContext& context);
    void addScroll(const CMTime& time, const ScrollEvent& event);
    void addKey(const CMTime& time, const KeyDownEvent& event);
    [[nodiscard]] double sampleTime(const CMTime& time) const;
    void putAside();
    void clearSamples();

    const URL outputURL_;
    const std::chrono::nanoseconds sampleInterval_;
    const CGRect captureRegion_;
    const CursorInputs inputs_;
    const std::function<CMTime()> clock_;

    // Queue only.
    std::optional<CMTime> originHostTime_;
    CursorRecording recording_;
    bool lastLeftPressed_ = false;
    bool lastRightPressed_ = false;
    bool lastCursorIsVisible_ = false;
    WindowContext lastWindowContext_;
    std::unique_ptr<RepeatingTimer> timer_;
    /// How many samples of each kind the journal has.
    struct Counts {
        std::size_t movements = 0;
        std::size_t activities = 0;
        std::size_t windowContexts = 0;
        std::size_t scrolls = 0;
        std::size_t keys = 0;
    };
    Counts putAside_;

    TelemetryJournal journal_;

    // Caller's thread only.
    std::unique_ptr<InputMonitor> scrollMonitor_;
    std::unique_ptr<InputMonitor> keyMonitor_;
    std::unique_ptr<RepeatingTimer> windowTimer_;

    // Last, and the one that is handed to last of all, so that they have run all their blocks before what
    // these use goes.
    SerialQueue queue_{"com.varnelle.recording.cursor"};
    SerialQueue focusQueue_{"com.varnelle.recording.focus"};
};

}  // namespace varnelle
