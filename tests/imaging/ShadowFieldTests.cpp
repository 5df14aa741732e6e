#include "imaging/ShadowField.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>

#include "imaging/RoundedRectMask.h"

namespace varnelle {
namespace {

constexpr int kWidth = 220;
constexpr int kHeight = 160;
constexpr int kMargin = 200;

/// A coverage picture on the canvas with a wide margin, so that blurring by a plain sum needs no edges.
class Field {
public:
    Field() : values_(static_cast<std::size_t>((kWidth + 2 * kMargin) * (kHeight + 2 * kMargin))) {}
    double& at(int x, int y) {
        return values_[static_cast<std::size_t>((y + kMargin) * (kWidth + 2 * kMargin) + x + kMargin)];
    }

    static Field roundedRect(CGRect rect, double radius, bool isClippedToCanvas) {
        Field field;
        rect.origin = {rect.origin.x + kMargin, rect.origin.y + kMargin};
        RoundedRectMask mask(rect, radius, kWidth + 2 * kMargin);
        for (int y = -kMargin; y < kHeight + kMargin; ++y) {
            const auto row = mask.row(y + kMargin);
            for (int x = -kMargin; x < kWidth + kMargin; ++x) {
                if (isClippedToCanvas && (x < 0 || y < 0 || x >= kWidth || y >= kHeight)) continue;
                const int i = x + kMargin;
                if (i < row.begin || i >= row.end) continue;
                if (i < row.fullBegin) {
                    field.at(x, y) = row.leftCoverage[i - row.begin] / 255.0;
                } else {
                    field.at(x, y) = i < row.fullEnd ? 1 : row.rightCoverage[i - row.fullEnd] / 255.0;
                }
            }
        }
        return field;
    }

    [[nodiscard]] Field blurred(double sigma) {
        const int reach = static_cast<int>(std::ceil(4.5 * sigma));
        std::vector<double> weights;
        double sum = 0;
        for (int i = -reach; i <= reach; ++i) weights.push_back(std::exp(-0.5 * i * i / (sigma * sigma)));
        for (const double weight : weights) sum += weight;
        const auto pass = [&](Field& from, int dx, int dy) {
            Field to;
            for (int y = -kMargin; y < kHeight + kMargin; ++y) {
                for (int x = -kMargin; x < kWidth + kMargin; ++x) {
                    double value = 0;
                    for (int i = -reach; i <= reach; ++i) {
                        const int sx = x + dx * i;
                        const int sy = y + dy * i;
                        if (sx < -kMargin || sy < -kMargin || sx >= kWidth + kMargin ||
                            sy >= kHeight + kMargin)
                            continue;
                        value += weights[static_cast<std::size_t>(i + reach)] * from.at(sx, sy);
                    }
                    to.at(x, y) = value / sum;
                }
            }
            return to;
        };
        Field across = pass(*this, 1, 0);
        return pass(across, 0, 1);
    }

private:
    std::vector<double> values_;
};

/// Compares the blurred shape at every third pixel; the largest difference.
double worstDifference(const CGRect& rect, double radius, double sigma, bool isClipped) {
    Field expected = Field::roundedRect(rect, radius, isClipped).blurred(sigma);
    const CGRect canvas{{0, 0}, {kWidth, kHeight}};
    const BlurredRoundedRect shape(rect, radius, sigma, isClipped ? canvas : rect.insetBy(-1, -1), kWidth);
    double worst = 0;
    std::vector<float> row(kWidth);
    for (int y = 0; y < kHeight; y += 3) {
        std::fill(row.begin(), row.end(), 0.0F);
        shape.addRow(y, 0, kWidth, 1, row.data());
        for (int x = 0; x < kWidth; x += 3) {
            worst = std::max(worst, std::abs(row[static_cast<std::size_t>(x)] - expected.at(x, y)));
        }
    }
    return worst;
}

TEST(BlurredRoundedRect, MatchesADirectGaussianBlur) {
    struct Case {
        const char* what;
        CGRect rect;
        double radius, sigma;
        bool isClipped;
    };
    for (const Case& c : {Case{"wide blur", {{50, 40}, {120, 80}}, 22, 26, true},
                          Case{"tight blur", {{50.3, 40.6}, {120, 80}}, 22, 4, true},
                          Case{"no corners", {{50, 40}, {120, 80}}, 0, 10, true},
                          Case{"capsule", {{30, 50}, {150, 60}}, 30, 8, true},
                          Case{"reaching beyond the canvas", {{-30, 40}, {300, 200}}, 30, 12, true},
                          Case{"cut through a corner", {{60, 150}, {300, 200}}, 40, 9, true},
                          Case{"unclipped", {{-20, -20}, {200, 150}}, 35, 15, false}}) {
        EXPECT_LT(worstDifference(c.rect, c.radius, c.sigma, c.isClipped), 0.006) << c.what;
    }
}

TEST(ShadowField, FadesFromTheEdgeAndReachesLowerThanHigher) {
    const CGRect rect{{60, 30}, {100, 80}};
    ShadowField shadow(rect, 10, 0.5, 8, kWidth, kHeight);
    std::vector<float> above(kWidth);
    std::vector<float> below(kWidth);
    shadow.row(30 - 6, 0, kWidth, above.data());
    shadow.row(110 + 5, 0, kWidth, below.data());
    EXPECT_LT(below[110], above[110]) << "the light comes from above";
    float last = 0;
    shadow.row(70, 0, kWidth, above.data());
    for (int x = 160; x < 200; ++x) {
        ASSERT_GE(above[static_cast<std::size_t>(x)], last) << x;
        last = above[static_cast<std::size_t>(x)];
    }
    EXPECT_GT(last, 0.98);
    EXPECT_NEAR(above[59], above[160], 1e-5) << "symmetric";
}

TEST(ShadowField, StrengthFollowsTheOpacityCurve) {
    const CGRect rect{{-400, -400},
                      {1000, 1000}};  // the canvas lies deep inside: only the layers' alphas count
    const auto depth = [&](double opacity) {
        ShadowField shadow(rect, 0, opacity, 1, kWidth, kHeight);
        std::vector<float> row(kWidth);
        shadow.row(kHeight / 2, 0, kWidth, row.data());
        return 1 - row[kWidth / 2];
    };
    const double alpha = std::pow(0.28 / 0.8, 0.74) * 1.18;
    EXPECT_NEAR(depth(0.28), 1 - (1 - 0.62 * alpha) * (1 - 0.36 * alpha) * (1 - 0.96 * alpha), 1e-4);
    EXPECT_EQ(depth(0.7), depth(3)) << "full from an opacity of about 0.64 on";
    EXPECT_EQ(depth(0), 0);
}

}  // namespace
}  // namespace varnelle
