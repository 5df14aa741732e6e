#include "foundation/Geometry.h"

#include <algorithm>
#include <array>

namespace varnelle {

bool CGRect::contains(CGPoint point) const {
    return point.x >= minX() && point.x < maxX() && point.y >= minY() && point.y < maxY();
}

CGRect CGRect::standardized() const {
    CGRect result = *this;
    if (result.size.width < 0) {
        result.origin.x += result.size.width;
        result.size.width = -result.size.width;
    }
    if (result.size.height < 0) {
        result.origin.y += result.size.height;
        result.size.height = -result.size.height;
    }
    return result;
}

CGRect CGRect::insetBy(double dx, double dy) const {
    return {{origin.x + dx, origin.y + dy}, {size.width - 2 * dx, size.height - 2 * dy}};
}

CGRect CGRect::intersection(const CGRect& other) const {
    const double left = std::max(minX(), other.minX());
    const double bottom = std::max(minY(), other.minY());
    const double right = std::min(maxX(), other.maxX());
    const double top = std::min(maxY(), other.maxY());
    if (!(right > left && top > bottom)) return {};
    return {{left, bottom}, {right - left, top - bottom}};
}

CGRect CGRect::unionWith(const CGRect& other) const {
    const double left = std::min(minX(), other.minX());
    const double top = std::min(minY(), other.minY());
    return {{left, top}, {std::max(maxX(), other.maxX()) - left, std::max(maxY(), other.maxY()) - top}};
}

CGPoint CGAffineTransform::apply(CGPoint point) const {
    return {a * point.x + c * point.y + tx, b * point.x + d * point.y + ty};
}

CGRect CGAffineTransform::apply(const CGRect& rect) const {
    const std::array corners = {
        apply(CGPoint{rect.minX(), rect.minY()}), apply(CGPoint{rect.maxX(), rect.minY()}),
        apply(CGPoint{rect.minX(), rect.maxY()}), apply(CGPoint{rect.maxX(), rect.maxY()})};
    CGPoint low = corners[0];
    CGPoint high = corners[0];
    for (const CGPoint& corner : corners) {
        low = {std::min(low.x, corner.x), std::min(low.y, corner.y)};
        high = {std::max(high.x, corner.x), std::max(high.y, corner.y)};
    }
    return {low, {high.x - low.x, high.y - low.y}};
}

}  // namespace varnelle
