#pragma once

namespace varnelle {

/// Double-precision geometry values. Which way y grows, and whether a unit is a point or a pixel, is said
/// where a value is used.
struct CGPoint {
    double x = 0;
    double y = 0;
    bool operator==(const CGPoint&) const = default;
};

struct CGSize {
    double width = 0;
    double height = 0;
    bool operator==(const CGSize&) const = default;
};

struct CGRect {
    CGPoint origin;
    CGSize size;

    [[nodiscard]] double minX() const { return origin.x; }
    [[nodiscard]] double minY() const { return origin.y; }
    [[nodiscard]] double maxX() const { return origin.x + size.width; }
    [[nodiscard]] double maxY() const { return origin.y + size.height; }
    [[nodiscard]] double midX() const { return origin.x + size.width / 2; }
    [[nodiscard]] double midY() const { return origin.y + size.height / 2; }
    [[nodiscard]] double width() const { return size.width; }
    [[nodiscard]] double height() const { return size.height; }
    [[nodiscard]] bool isEmpty() const { return !(size.width > 0 && size.height > 0); }
    [[nodiscard]] CGPoint center() const { return {midX(), midY()}; }
    [[nodiscard]] CGRect offsetBy(double dx, double dy) const {
        return {{origin.x + dx, origin.y + dy}, size};
    }
    /// Inside, with the left and top (smaller) edges belonging to the rectangle and the others not.
    [[nodiscard]] bool contains(CGPoint point) const;
    /// The same area with a size that isn't negative.
    [[nodiscard]] CGRect standardized() const;
    /// Moved inwards on all four sides.
    [[nodiscard]] CGRect insetBy(double dx, double dy) const;
    /// The common area; empty at the origin if there is none.
    [[nodiscard]] CGRect intersection(const CGRect& other) const;
    /// The smallest rectangle that holds both.
    [[nodiscard]] CGRect unionWith(const CGRect& other) const;
    bool operator==(const CGRect&) const = default;
};

/// x' = a x + c y + tx, y' = b x + d y + ty.
struct CGAffineTransform {
    double a = 1, b = 0, c = 0, d = 1, tx = 0, ty = 0;

    [[nodiscard]] bool isIdentity() const { return *this == CGAffineTransform{}; }
    [[nodiscard]] CGPoint apply(CGPoint point) const;
    /// The bounding rectangle of the transformed corners.
    [[nodiscard]] CGRect apply(const CGRect& rect) const;
    bool operator==(const CGAffineTransform&) const = default;
};

}  // namespace varnelle
