#pragma once

#include <cstdint>
#include <vector>

#include "foundation/CMTime.h"
#include "foundation/Date.h"
#include "foundation/URL.h"
#include "model/RecordingSession.h"

namespace varnelle {

/// A recording that nobody holds any more: its recorder was killed, or the program was before its project was
/// saved.
struct RecoverableSession {
    RecordingSession session;  ///< as it would have been handed over, with the files that are there
    CMTime duration;           ///< of the screen's movie
    std::uint64_t byteCount = 0;

    bool operator==(const RecoverableSession&) const = default;
};

/// Leaves a note of what the session is beside its files, for the case that its recorder doesn't end it.
/// Throws `FileError`.
void writeSessionNote(const RecordingSession& session);

/// The sessions below the program's sessions directory that hold pictures and that no process has locked
/// (`DirectoryLock::shared` on the session's directory), the newest first. What has been set aside to be
/// removed and wasn't is removed. Movies that were never completed are read as far as they go. Any thread;
/// never throws.
std::vector<RecoverableSession> recoverableSessions(const URL& temporaryDirectory);

}  // namespace varnelle
