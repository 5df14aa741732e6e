#pragma once

#include <memory>
#include <optional>
#include <vector>

#include "camera/OverlayConfigurationController.h"
#include "camera/ZoomPanClipsController.h"
#include "media/Composition.h"
#include "media/VideoComposition.h"
#include "model/Project.h"
#include "render/OverlayVideoCompositionInstruction.h"

namespace varnelle {

/// A project turned into what can be played or exported. The two controllers are live: changes to them show
/// in the frames rendered afterwards, without a new build.
struct CompositionResult {
    std::shared_ptr<Composition> composition;
    VideoComposition videoComposition;
    CMTime duration;
    CGSize renderSize;   ///< pixels
    int frameRate = 30;  ///< output frames per second, at least 30
    TrackID videoTrackID = kInvalidTrackID;
    std::optional<TrackID> cameraTrackID;
    std::vector<TrackID> audioTrackIDs;  ///< in the order of the source's audio tracks
    std::shared_ptr<OverlayConfigurationController> overlayController;
    std::shared_ptr<ZoomPanClipsController> zoomPanClipsController;
    std::vector<CMTimeRange> autoZoomAndPanActiveRanges;  ///< timeline time
};

/// Cuts the clips of a project's video track together, and prepares the one instruction that the frame
/// renderer works from. Sound and camera follow the same cuts.
class VideoCompositor {
public:
    /// Without a size or rate, those of the recording. May be called on any thread; reads files, so it takes
    /// a while. Throws `VideoCompositorError`, and `MediaError` for a source that can't be opened. Telemetry
    /// that can't be read only leaves out cursor and camera path.
    [[nodiscard]] static CompositionResult buildComposition(
        const Project& project, const std::optional<CGSize>& renderSize = std::nullopt,
        const std::optional<int>& frameRate = std::nullopt);
};

}  // namespace varnelle
