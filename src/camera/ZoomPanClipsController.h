#pragma once

#include <mutex>
#include <vector>

#include "foundation/CMTime.h"

namespace varnelle {

enum class ZoomPanPhase { outside = 0, entering = 1, holding = 2, leaving = 3 };

/// How far the automatic camera is in effect at one moment of the timeline.
struct ZoomPanState {
    int revision = 0;     ///< of the ranges that the answer was computed from
    double progress = 0;  ///< eased weight of the camera, 0 to 1
    ZoomPanPhase phase = ZoomPanPhase::outside;
    double rangeStart = 0;          ///< timeline seconds
    double rangeEnd = 0;            ///< timeline seconds
    bool isEmpty = true;            ///< the moment lies in no range
    double transitionDuration = 0;  ///< seconds
};

/// The ranges of the timeline in which the automatic camera acts, which the editor changes while a
/// composition plays. Safe to share between threads; the lock is held for a copy only.
class ZoomPanClipsController {
public:
    /// In timeline seconds; the end is exclusive.
    struct ClipRange {
        double startSeconds = 0;
        double endSeconds = 0;
        bool operator==(const ClipRange&) const = default;
    };

    explicit ZoomPanClipsController(const std::vector<CMTimeRange>& ranges);

    void replaceRanges(const std::vector<CMTimeRange>& ranges);
    [[nodiscard]] std::vector<ClipRange> ranges() const;
    /// State at a moment of timeline time, with ramps of `transitionDuration` seconds (at least 1/120) inside
    /// both ends of a range.
    [[nodiscard]] ZoomPanState state(const CMTime& timelineTime, double transitionDuration) const;

private:
    mutable std::mutex lock_;
    std::vector<ClipRange> ranges_;  // guarded by lock_; sorted, not overlapping
    int revision_ = 0;               // guarded by lock_
};

/// Sorted by start, with touching and overlapping ranges merged and those without a usable length dropped.
std::vector<ZoomPanClipsController::ClipRange> normalizeClipRanges(const std::vector<CMTimeRange>& ranges);

}  // namespace varnelle
