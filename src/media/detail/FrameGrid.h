#pragma once

#include <cstdint>

#include "foundation/CMTime.h"

namespace varnelle::detail {

/// The moments at which a composition has frames: multiples of the frame duration from zero on that lie
/// before its end. All times are exact. Immutable.
class FrameGrid {
public:
    FrameGrid() = default;
    /// Throws `MediaError` unless the frame duration is positive.
    FrameGrid(const CMTime& duration, const CMTime& frameDuration);

    /// None if the duration is nothing, or no number.
    [[nodiscard]] std::int64_t count() const { return count_; }
    [[nodiscard]] CMTime time(std::int64_t index) const;
    /// The frame that is shown at a time: the last one at or before it, within those that there are.
    [[nodiscard]] std::int64_t indexAt(const CMTime& time) const;
    [[nodiscard]] const CMTime& frameDuration() const { return frameDuration_; }

private:
    [[nodiscard]] std::int64_t lastAtOrBefore(const CMTime& time) const;

    CMTime frameDuration_ = kCMTimeInvalid;
    std::int64_t count_ = 0;
};

}  // namespace varnelle::detail
