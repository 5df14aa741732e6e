#pragma once

#include <optional>
#include <vector>

#include "foundation/Date.h"
#include "foundation/Geometry.h"
#include "foundation/URL.h"
#include "foundation/UUID.h"
#include "model/AudioModels.h"

namespace varnelle {

/// What one recording produced. A value that isn't changed after the recording.
struct RecordingSession {
    UUID id;
    URL directoryURL;  ///< the session's directory; for a project read from a package, the package's assets
    URL screenRecordingURL;
    std::optional<URL> cameraRecordingURL;
    std::optional<URL> cursorRecordingURL;
    std::vector<RecordedAudioSource> availableAudioSources;
    Date createdAt;
    int frameRate = 0;  ///< frames per second
    CGSize renderSize;  ///< pixels

    bool operator==(const RecordingSession&) const = default;
};

}  // namespace varnelle
