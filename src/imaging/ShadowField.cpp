#include "imaging/ShadowField.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <numbers>

namespace varnelle {
namespace {

/// Beyond this many standard deviations a Gaussian is taken as zero: an 8-bit picture can't show it.
constexpr double kReach = 3.6;
constexpr double kLeastVisible = 0.001;

/// The shares that the drop layer, which reaches furthest, has of the shadow's radius. Pixels.
double dropSigma(double radius) {
    return 1.16 * radius;
}
double dropOffset(double radius) {
    return std::max(0.52 * radius, 10.0);
}

/// The share of a Gaussian below x standard deviations, from a table: exact to 1e-6.
class NormalDistribution {
public:
    NormalDistribution() {
        for (std::size_t i = 0; i < table_.size(); ++i) {
            const double x = static_cast<double>(i) / kStepsPerUnit - kLimit;
            table_.at(i) = 0.5 * std::erfc(-x / std::numbers::sqrt2);
        }
    }
    double operator()(double x) const {
        if (x <= -kLimit) return 0;
        if (x >= kLimit) return 1;
        const double at = (x + kLimit) * kStepsPerUnit;
        const auto index = static_cast<std::size_t>(at);
        const double fraction = at - static_cast<double>(index);
        return table_[index] + fraction * (table_[index + 1] - table_[index]);
    }

private:
    static constexpr double kLimit = 5;
    static constexpr int kStepsPerUnit = 256;
    std::array<double, static_cast<std::size_t>(2 * kLimit * kStepsPerUnit) + 2> table_{};
};

/// Blurred coverage at `x` of the interval from `low` to `high`.
double blurredInterval(double x, double low, double high, double sigma) {
    static const NormalDistribution normal;
    if (!(high > low)) return 0;
    return normal((high - x) / sigma) - normal((low - x) / sigma);
}

/// Area under the complement of a quarter disc: how far the square's edge stands off from the disc at `depth`
/// below the corner, integrated from 0 to `depth`.
double cornerAreaAbove(double depth, double radius) {
    const double rise = std::clamp((radius - depth) / radius, 0.0, 1.0);
    const double circleArea = 0.5 * radius * radius *
                              (std::numbers::pi / 2 - (std::asin(rise) + rise * std::sqrt(1 - rise * rise)));
    return radius * depth - circleArea;
}

}  // namespace

BlurredRoundedRect::BlurredRoundedRect(const CGRect& rect, double cornerRadius, double sigma,
                                       const CGRect& clip, int canvasWidth)
    : sigma_(sigma), canvasWidth_(canvasWidth), core_(rect.intersection(clip)) {
    columns_.resize(static_cast<std::size_t>(canvasWidth));
    for (int x = 0; x < canvasWidth; ++x) {
        columns_[static_cast<std::size_t>(x)] =
            static_cast<float>(blurredInterval(x + 0.5, core_.minX(), core_.maxX(), sigma_));
    }
    const double radius = std::clamp(cornerRadius, 0.0, std::min(rect.width(), rect.height()) / 2);
    if (radius < kLeastVisible || core_.isEmpty()) return;
    for (const bool isRight : {false, true}) {
        for (const bool isBottom : {false, true}) addCorner(rect, radius, isRight, isBottom, clip);
    }
}

void BlurredRoundedRect::addCorner(const CGRect& rect, double radius, bool isRight, bool isBottom,
                                   const CGRect& clip) {
    const double cornerX = isRight ? rect.maxX() : rect.minX();
    const double cornerY = isBottom ? rect.maxY() : rect.minY();
    const double inwardX = isRight ? -1 : 1;
    const double inwardY = isBottom ? -1 : 1;
    const double reach = kReach * sigma_;

    Corner corner;
    corner.left = std::max(0.0, std::floor(std::min(cornerX, cornerX + inwardX * radius) - reach));
    corner.right =
        std::min<double>(canvasWidth_, std::ceil(std::max(cornerX, cornerX + inwardX * radius) + reach));
    corner.top = std::min(cornerY, cornerY + inwardY * radius) - reach;
    corner.bottom = std::max(cornerY, cornerY + inwardY * radius) + reach;
    if (corner.right <= corner.left) return;

    // Strips thinner than the blur can't be told apart; each is as wide as the corner's mean gap along it.
    const int stripCount = static_cast<int>(std::clamp(std::ceil(2.5 * radius / sigma_), 6.0, 64.0));
    for (int i = 0; i < stripCount; ++i) {
        const double from = radius * i / stripCount;
        const double to = radius * (i + 1) / stripCount;
        const double gap = (cornerAreaAbove(to, radius) - cornerAreaAbove(from, radius)) / (to - from);
        const double top = std::max(std::min(cornerY + inwardY * from, cornerY + inwardY * to), clip.minY());
        const double bottom =
            std::min(std::max(cornerY + inwardY * from, cornerY + inwardY * to), clip.maxY());
        const double low = std::max(std::min(cornerX, cornerX + inwardX * gap), clip.minX());
        const double high = std::min(std::max(cornerX, cornerX + inwardX * gap), clip.maxX());
        if (!(bottom > top && high > low)) continue;
        Corner::Strip strip{top, bottom, {}};
        strip.columns.reserve(static_cast<std::size_t>(corner.right - corner.left));
        for (double x = corner.left; x < corner.right; ++x) {
            strip.columns.push_back(static_cast<float>(blurredInterval(x + 0.5, low, high, sigma_)));
        }
        corner.strips.push_back(std::move(strip));
    }
    if (!corner.strips.empty()) corners_.push_back(std::move(corner));
}

void BlurredRoundedRect::addRow(int y, int from, int to, float weight, float* values) const {
    if (core_.isEmpty()) return;
    const double center = y + 0.5;
    const auto share =
        weight * static_cast<float>(blurredInterval(center, core_.minY(), core_.maxY(), sigma_));
    for (int x = from; x < to; ++x) values[x] += share * columns_[static_cast<std::size_t>(x)];
    for (const Corner& corner : corners_) {
        if (center < corner.top || center > corner.bottom) continue;
        const int left = static_cast<int>(corner.left);
        const int first = std::max(from, left);
        const int last = std::min(to, static_cast<int>(corner.right));
        for (const Corner::Strip& strip : corner.strips) {
            const auto lack =
                weight * static_cast<float>(blurredInterval(center, strip.top, strip.bottom, sigma_));
            const float* columns = strip.columns.data();
            for (int x = first; x < last; ++x) values[x] -= lack * columns[x - left];
        }
    }
}

ShadowField::ShadowField(const CGRect& rect, double cornerRadius, double opacity, double shadowRadius,
                         int canvasWidth, int canvasHeight, double scale)
    : coverage_(static_cast<std::size_t>(canvasWidth)) {
    const double strength = std::pow(std::clamp(opacity / 0.8, 0.0, 1.0), 0.74);
    const double alpha = std::clamp(strength * 1.18, 0.0, 1.0);
    const double r = std::max(shadowRadius, 1.0);
    const CGRect canvas{{0, 0}, {static_cast<double>(canvasWidth), static_cast<double>(canvasHeight)}};
    const double shorterSide = std::min(rect.width(), rect.height());
    const double radius = std::clamp(cornerRadius, 0.0, shorterSide / 2);
    const auto lowered = [&rect](double offset) {
        return CGRect{{rect.origin.x, rect.origin.y + offset}, rect.size};
    };

    if (alpha > kLeastVisible) {
        // A stroke along the inside of the edge: the outer outline less the inner one.
        const double stroke = scale * std::max(1.7 * r, 6.0);
        const double sigma = scale * std::max(0.56 * r, 2.0);
        const CGRect outline = lowered(scale * std::max(0.2 * r, 2.5));
        const CGRect path = outline.insetBy(stroke / 2, stroke / 2);
        const double pathRadius =
            std::clamp(radius, 0.0, std::max(std::min(path.width(), path.height()) / 2, 0.0));
        const CGRect everything = outline.insetBy(-scale, -scale);
        Layer ring{static_cast<float>(alpha), {}};
        // Square corners stay square when they are stroked.
        const double outerRadius = pathRadius > 0 ? pathRadius + stroke / 2 : 0;
        ring.shapes.emplace_back(1.0F,
                                 BlurredRoundedRect(outline, outerRadius, sigma, everything, canvasWidth));
        const CGRect hole = outline.insetBy(stroke, stroke);
        if (!hole.isEmpty()) {
            const double holeRadius = std::max(pathRadius - stroke / 2, 0.0);
            ring.shapes.emplace_back(-1.0F,
                                     BlurredRoundedRect(hole, holeRadius, sigma, everything, canvasWidth));
        }
        layers_.push_back(std::move(ring));
    }
    struct Masked {
        double share, sigma, offset;
    };
    for (const Masked& masked : {Masked{0.62, std::max(0.24 * r, 1.8), std::max(0.16 * r, 2.0)},  // contact
                                 Masked{0.36, 1.02 * r, 0},                                       // ambient
                                 Masked{0.96, dropSigma(r), dropOffset(r)}}) {                    // drop
        if (masked.share * alpha <= kLeastVisible) continue;
        Layer layer{static_cast<float>(masked.share * alpha), {}};
        layer.shapes.emplace_back(1.0F, BlurredRoundedRect(lowered(scale * masked.offset), radius,
                                                           scale * masked.sigma, canvas, canvasWidth));
        layers_.push_back(std::move(layer));
    }
}

ShadowField::Reach ShadowField::reach(double shadowRadius, double scale) {
    const double r = std::max(shadowRadius, 1.0);
    return {scale * 4 * std::max(dropSigma(r), 2.0), scale * dropOffset(r)};
}

void ShadowField::row(int y, int from, int to, float* transmittance) {
    std::fill(transmittance + from, transmittance + to, 1.0F);
    for (const Layer& layer : layers_) {
        float* coverage = coverage_.data();
        std::fill(coverage + from, coverage + to, 0.0F);
        for (const auto& [weight, shape] : layer.shapes)
            shape.addRow(y, from, to, weight * layer.alpha, coverage);
        for (int x = from; x < to; ++x) {
            transmittance[x] *= 1 - std::min(std::max(coverage[x], 0.0F), 1.0F);
        }
    }
}

}  // namespace varnelle
