#pragma once

#include <optional>

#include "camera/CursorRecording.h"
#include "foundation/Descriptor.h"
#include "foundation/Queue.h"
#include "foundation/URL.h"

namespace varnelle {

/// What has been sampled so far, put aside while a recording runs, for the case that its recorder is killed:
/// a file of lines, each telemetry of its own with the samples that have come since the line before. Nobody
/// waits for it: lines are made and written on a queue of the journal's. A journal that can't be written is
/// given up with a line in the log.
class TelemetryJournal {
public:
    explicit TelemetryJournal(URL url);
    /// Where the journal of a telemetry file lies while that is being recorded.
    static URL beside(const URL& telemetry);

    /// Adds samples. Any thread.
    void add(CursorRecording samples);
    /// Removes the file: the telemetry stands elsewhere, or isn't wanted. Nothing may be added any more.
    void remove();

    /// All samples of a journal, in order, as far as lines are whole; absent if there is none.
    [[nodiscard]] static std::optional<CursorRecording> read(const URL& url);

private:
    void write(const CursorRecording& samples);

    const URL url_;
    Descriptor file_;         // queue only
    bool isGivenUp_ = false;  // queue only
    SerialQueue queue_{"com.varnelle.recording.journal"};
};

}  // namespace varnelle
