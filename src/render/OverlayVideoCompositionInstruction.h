#pragma once

#include <memory>
#include <optional>
#include <vector>

#include "camera/CursorRecording.h"
#include "camera/OverlayConfigurationController.h"
#include "camera/SmoothingCamera.h"
#include "camera/ZoomPanClipsController.h"
#include "media/VideoComposition.h"
#include "timeline/TimelineSourceTimeMapper.h"

namespace varnelle {

/// Everything that the renderer needs to know about a composition; one instance covers all of it. Immutable
/// but for the two controllers, which are shared with whoever edits.
class OverlayVideoCompositionInstruction final : public VideoCompositionInstruction {
public:
    struct Contents {
        CMTimeRange timeRange;
        TrackID screenTrackID = kInvalidTrackID;
        std::optional<TrackID> cameraTrackID;
        CGAffineTransform screenTransform;
        CGAffineTransform cameraTransform;
        std::shared_ptr<OverlayConfigurationController> overlayController;
        std::shared_ptr<ZoomPanClipsController> zoomPanClipsController;
        TimelineSourceTimeMapper sourceTimeMapper;
        std::shared_ptr<const CursorRecording> cursorRecording;  ///< null without telemetry
        std::shared_ptr<const SmoothingCamera> smoothingCamera;  ///< null without telemetry
    };

    explicit OverlayVideoCompositionInstruction(Contents contents) : contents_(std::move(contents)) {}

    [[nodiscard]] CMTimeRange timeRange() const override { return contents_.timeRange; }
    /// The screen's track, then the camera's if there is one.
    [[nodiscard]] std::vector<TrackID> requiredSourceTrackIDs() const override;
    [[nodiscard]] const Contents& contents() const { return contents_; }

private:
    Contents contents_;
};

}  // namespace varnelle
