#include "imaging/RoundedRectMask.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>

namespace varnelle {
namespace {

int coverageAt(const RoundedRectMask::Row& row, int x) {
    if (x < row.begin || x >= row.end) return 0;
    if (x < row.fullBegin) return row.leftCoverage[x - row.begin];
    if (x < row.fullEnd) return 255;
    return row.rightCoverage[x - row.fullEnd];
}

bool isInside(const CGRect& rect, double radius, double x, double y) {
    if (x < rect.minX() || x > rect.maxX() || y < rect.minY() || y > rect.maxY()) return false;
    const double dx = std::max({rect.minX() + radius - x, x - (rect.maxX() - radius), 0.0});
    const double dy = std::max({rect.minY() + radius - y, y - (rect.maxY() - radius), 0.0});
    return dx * dx + dy * dy <= radius * radius;
}

TEST(RoundedRectMask, CoverageIsTheAreaInsideThePixel) {
    struct Case {
        CGRect rect;
        double radius;
    };
    for (const Case& c :
         {Case{{{3, 2}, {30, 20}}, 0}, Case{{{3.25, 2.5}, {30.5, 20.3}}, 6.7}, Case{{{5, 4}, {24, 24}}, 100},
          Case{{{-10, -7.3}, {70, 50}}, 12}, Case{{{7.2, 9.1}, {0.5, 0.4}}, 0.1}}) {
        RoundedRectMask mask(c.rect, c.radius, 40);
        const double radius = std::min(c.radius, std::min(c.rect.width(), c.rect.height()) / 2);
        for (int y = -1; y < 40; ++y) {
            const auto row = mask.row(y);
            for (int x = 0; x < 40; ++x) {
                constexpr int steps = 48;
                int inside = 0;
                for (int j = 0; j < steps; ++j) {
                    for (int i = 0; i < steps; ++i) {
                        inside +=
                            isInside(c.rect, radius, x + (i + 0.5) / steps, y + (j + 0.5) / steps) ? 1 : 0;
                    }
                }
                ASSERT_NEAR(coverageAt(row, x), 255.0 * inside / (steps * steps), 5)
                    << "at " << x << ", " << y << " of a radius of " << c.radius;
            }
        }
    }
}

TEST(RoundedRectMask, MovingEdgeMovesSmoothly) {
    double last = -1;
    for (int i = 0; i <= 64; ++i) {
        RoundedRectMask mask({{10.0 + i / 64.0, 0}, {20, 20}}, 4, 100);
        const double edge = 11 - coverageAt(mask.row(10), 10) / 255.0;
        EXPECT_NEAR(edge, 10 + i / 64.0, 0.003);
        EXPECT_GE(edge, last);
        last = edge;
    }
}

TEST(RoundedRectMask, KnowsWhenNothingOfTheCanvasIsLeft) {
    EXPECT_TRUE(RoundedRectMask({{0, 0}, {40, 30}}, 0, 40).coversCanvas(30));
    EXPECT_FALSE(RoundedRectMask({{0, 0}, {40, 30}}, 5, 40).coversCanvas(30));
    EXPECT_TRUE(RoundedRectMask({{-2, -2}, {44, 34}}, 5, 40).coversCanvas(30));
    EXPECT_FALSE(RoundedRectMask({{0.1, 0}, {40, 30}}, 0, 40).coversCanvas(30));
}

}  // namespace
}  // namespace varnelle
