#pragma once

#include "model/Project.h"

namespace varnelle::test {

/// A session whose files are said to lie in a directory; nothing is made there.
inline RecordingSession sessionIn(const URL& directory) {
    RecordingSession session;
    session.id = UUID::random();
    session.directoryURL = directory;
    session.screenRecordingURL = directory.appending("screen.mov");
    session.createdAt = Date{1'794'780'071};
    session.frameRate = 60;
    session.renderSize = {1920, 1080};
    return session;
}

inline Project projectIn(const URL& directory, double seconds) {
    return Project::make(sessionIn(directory), timeFromSeconds(seconds), OverlayConfiguration{});
}

inline CMTimeRange rangeOfSeconds(double start, double duration) {
    return {timeFromSeconds(start), timeFromSeconds(duration)};
}

}  // namespace varnelle::test
