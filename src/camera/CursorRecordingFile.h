#pragma once

#include <string>

#include "camera/CursorRecording.h"
#include "foundation/Error.h"
#include "foundation/URL.h"

namespace varnelle {

/// The file isn't telemetry of a recording. The text names the file and says what is wrong.
class CursorRecordingError : public Error {
public:
    using Error::Error;
};

/// Reads telemetry (JSON) and puts its lists in order. Nothing is taken from a file that is wrong in any
/// place. Throws `FileError` if it can't be read, `CursorRecordingError` if it doesn't decode.
CursorRecording readCursorRecording(const URL& url);
/// The same from bytes that are in memory; `name` is what an error calls them.
CursorRecording parseCursorRecording(std::string json, const std::string& name);

/// Telemetry as JSON text on one line, as `writeCursorRecording` writes it.
std::string cursorRecordingText(const CursorRecording& recording);
/// Writes telemetry atomically: JSON with sorted keys, numbers in their shortest form that reads back
/// exactly. Throws `FileError`.
void writeCursorRecording(const CursorRecording& recording, const URL& url);

}  // namespace varnelle
