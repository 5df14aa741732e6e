#include "render/OverlayVideoCompositionInstruction.h"

namespace varnelle {

std::vector<TrackID> OverlayVideoCompositionInstruction::requiredSourceTrackIDs() const {
    std::vector<TrackID> ids{contents_.screenTrackID};
    if (contents_.cameraTrackID) ids.push_back(*contents_.cameraTrackID);
    return ids;
}

}  // namespace varnelle
