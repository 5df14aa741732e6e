#pragma once

#include <cstdint>
#include <vector>

namespace varnelle {

/// A rectangle of whole pixels; the right and bottom edges are exclusive.
struct PixelRect {
    int left = 0;
    int top = 0;
    int right = 0;
    int bottom = 0;

    [[nodiscard]] int width() const { return right - left; }
    [[nodiscard]] int height() const { return bottom - top; }
    [[nodiscard]] bool isEmpty() const { return right <= left || bottom <= top; }
    [[nodiscard]] std::int64_t area() const { return std::int64_t{width()} * height(); }
    [[nodiscard]] bool contains(const PixelRect& other) const;
    [[nodiscard]] PixelRect intersection(const PixelRect& other) const;
    /// The smallest rectangle that holds both.
    [[nodiscard]] PixelRect united(const PixelRect& other) const;
    [[nodiscard]] PixelRect movedBy(int dx, int dy) const {
        return {left + dx, top + dy, right + dx, bottom + dy};
    }
    bool operator==(const PixelRect&) const = default;
};

/// A set of pixels that has to be copied, as few disjoint rectangles. It may cover more than what was added:
/// each rectangle costs a round of its own, so neighbours whose common bounds waste little are joined, and
/// beyond `kMaximumRects` the cheapest pair is.
class PixelRegion {
public:
    static constexpr std::size_t kMaximumRects = 12;

    void add(const PixelRect& rect);
    void add(const PixelRegion& other);
    void clear() { rects_.clear(); }

    [[nodiscard]] bool isEmpty() const { return rects_.empty(); }
    [[nodiscard]] const std::vector<PixelRect>& rects() const { return rects_; }
    /// Whether one of the rectangles holds all of `rect`.
    [[nodiscard]] bool covers(const PixelRect& rect) const;

private:
    std::vector<PixelRect> rects_;
};

/// What of `rect` lies outside of the hole or region, as disjoint rectangles.
std::vector<PixelRect> difference(const PixelRect& rect, const PixelRect& hole);
std::vector<PixelRect> difference(const PixelRegion& region, const PixelRegion& holes);

}  // namespace varnelle
