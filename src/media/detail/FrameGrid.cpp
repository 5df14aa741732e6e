#include "media/detail/FrameGrid.h"

#include <algorithm>

#include "media/MediaError.h"

namespace varnelle::detail {

FrameGrid::FrameGrid(const CMTime& duration, const CMTime& frameDuration) : frameDuration_(frameDuration) {
    if (!frameDuration_.isNumeric() || frameDuration_ <= kCMTimeZero) {
        throw MediaError(MediaError::Code::cannotDecode,
                         "A composition can't be read without a frame duration.");
    }
    if (!duration.isNumeric() || duration <= kCMTimeZero) return;
    const std::int64_t last = lastAtOrBefore(duration);
    count_ = time(last) < duration ? last + 1 : last;
}

CMTime FrameGrid::time(std::int64_t index) const {
    return CMTime::make(frameDuration_.value * index, frameDuration_.timescale);
}

std::int64_t FrameGrid::indexAt(const CMTime& time) const {
    if (count_ == 0 || !time.isNumeric()) return 0;
    return std::clamp<std::int64_t>(lastAtOrBefore(time), 0, count_ - 1);
}

std::int64_t FrameGrid::lastAtOrBefore(const CMTime& time) const {
    auto index = static_cast<std::int64_t>(time.seconds() / frameDuration_.seconds());
    while (index > 0 && this->time(index) > time) --index;
    while (this->time(index + 1) <= time) ++index;
    return index;
}

}  // namespace varnelle::detail
