#pragma once

#include <vector>

#include "foundation/CMTime.h"

namespace varnelle {

/// Converts timeline time to source time: with it, a cut in the timeline is a cut in the telemetry too.
/// Immutable and safe to share between threads.
class TimelineSourceTimeMapper {
public:
    /// A clip as it was put on the timeline. All in seconds.
    struct Segment {
        double timelineStartSeconds = 0;
        double timelineEndSeconds = 0;
        double sourceStartSeconds = 0;

        [[nodiscard]] double length() const { return timelineEndSeconds - timelineStartSeconds; }
        bool operator==(const Segment&) const = default;
    };

    /// Without segments the mapping is the identity.
    TimelineSourceTimeMapper() = default;
    /// Segments that don't overlap, in any order.
    explicit TimelineSourceTimeMapper(std::vector<Segment> segments);

    [[nodiscard]] const std::vector<Segment>& segments() const { return segments_; }
    /// The source time, on the grid of 1/600 s. Between segments and after the last one the end of the
    /// segment before holds; before the first one its start.
    [[nodiscard]] CMTime sourceTime(const CMTime& timelineTime) const;

private:
    std::vector<Segment> segments_;  // by timeline start
};

}  // namespace varnelle
