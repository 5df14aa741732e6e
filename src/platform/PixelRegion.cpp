#include "platform/PixelRegion.h"

#include <algorithm>
#include <array>
#include <iterator>
#include <limits>
#include <utility>

namespace varnelle {
namespace {

/// Pixels that two rectangles copy needlessly when they are joined. A round trip for a rectangle of its own
/// costs about as much as copying this many pixels.
constexpr std::int64_t kAcceptedWaste = 16'384;

std::int64_t waste(const PixelRect& a, const PixelRect& b) {
    const PixelRect common = a.intersection(b);
    return a.united(b).area() - a.area() - b.area() + (common.isEmpty() ? 0 : common.area());
}

bool touches(const PixelRect& a, const PixelRect& b) {
    return !a.intersection(b).isEmpty();
}

std::pair<std::size_t, std::size_t> cheapestPair(const std::vector<PixelRect>& rects) {
    std::pair<std::size_t, std::size_t> best{0, 1};
    std::int64_t least = std::numeric_limits<std::int64_t>::max();
    for (std::size_t i = 0; i < rects.size(); ++i) {
        for (std::size_t j = i + 1; j < rects.size(); ++j) {
            const std::int64_t cost = waste(rects[i], rects[j]);
            if (cost < least) {
                least = cost;
                best = {i, j};
            }
        }
    }
    return best;
}

}  // namespace

bool PixelRect::contains(const PixelRect& other) const {
    return other.left >= left && other.right <= right && other.top >= top && other.bottom <= bottom;
}

PixelRect PixelRect::intersection(const PixelRect& other) const {
    return {std::max(left, other.left), std::max(top, other.top), std::min(right, other.right),
            std::min(bottom, other.bottom)};
}

PixelRect PixelRect::united(const PixelRect& other) const {
    return {std::min(left, other.left), std::min(top, other.top), std::max(right, other.right),
            std::max(bottom, other.bottom)};
}

void PixelRegion::add(const PixelRect& rect) {
    if (rect.isEmpty() || covers(rect)) return;
    PixelRect joined = rect;
    // What grows by joining may reach a rectangle that was out of reach before, so look again after each
    // join.
    auto partner = rects_.end();
    const auto canJoin = [&joined](const PixelRect& other) {
        return touches(joined, other) || waste(joined, other) <= kAcceptedWaste;
    };
    while ((partner = std::find_if(rects_.begin(), rects_.end(), canJoin)) != rects_.end()) {
        joined = joined.united(*partner);
        rects_.erase(partner);
    }
    rects_.push_back(joined);
    if (rects_.size() <= kMaximumRects) return;
    const auto [first, second] = cheapestPair(rects_);
    const PixelRect bounds = rects_[first].united(rects_[second]);
    rects_.erase(rects_.begin() + static_cast<std::ptrdiff_t>(second));
    rects_.erase(rects_.begin() + static_cast<std::ptrdiff_t>(first));
    add(bounds);
}

void PixelRegion::add(const PixelRegion& other) {
    for (const PixelRect& rect : other.rects_) add(rect);
}

bool PixelRegion::covers(const PixelRect& rect) const {
    return std::any_of(rects_.begin(), rects_.end(),
                       [&rect](const PixelRect& own) { return own.contains(rect); });
}

std::vector<PixelRect> difference(const PixelRect& rect, const PixelRect& hole) {
    const PixelRect common = rect.intersection(hole);
    if (common.isEmpty()) return {rect};
    const std::array around{PixelRect{rect.left, rect.top, rect.right, common.top},
                            PixelRect{rect.left, common.top, common.left, common.bottom},
                            PixelRect{common.right, common.top, rect.right, common.bottom},
                            PixelRect{rect.left, common.bottom, rect.right, rect.bottom}};
    std::vector<PixelRect> parts;
    std::copy_if(around.begin(), around.end(), std::back_inserter(parts),
                 [](const PixelRect& part) { return !part.isEmpty(); });
    return parts;
}

std::vector<PixelRect> difference(const PixelRegion& region, const PixelRegion& holes) {
    std::vector<PixelRect> parts = region.rects();
    for (const PixelRect& hole : holes.rects()) {
        std::vector<PixelRect> remaining;
        for (const PixelRect& part : parts) {
            const auto pieces = difference(part, hole);
            remaining.insert(remaining.end(), pieces.begin(), pieces.end());
        }
        parts = std::move(remaining);
    }
    return parts;
}

}  // namespace varnelle
