#include "imaging/RoundedRectMask.h"

#include <algorithm>
#include <cmath>
#include <cstring>

#include "imaging/Blending.h"

namespace varnelle {
namespace {

constexpr int kLinesPerPixel = 16;

std::uint8_t coverageByte(double coverage) {
    return static_cast<std::uint8_t>(std::lround(std::clamp(coverage, 0.0, 1.0) * 255));
}

}  // namespace

RoundedRectMask::RoundedRectMask(const CGRect& rect, double radius, int canvasWidth)
    : rect_(rect),
      radius_(std::clamp(radius, 0.0, std::min(rect.width(), rect.height()) / 2)),
      canvasWidth_(canvasWidth) {}

bool RoundedRectMask::coversCanvas(int canvasHeight) const {
    // The largest rectangle without corners' cuts: inset by the part of the radius that a diagonal loses.
    const double inset = radius_ * (1 - std::sqrt(0.5));
    const CGRect inner = rect_.insetBy(inset, inset);
    return inner.minX() <= 0 && inner.minY() <= 0 && inner.maxX() >= canvasWidth_ &&
           inner.maxY() >= canvasHeight;
}

double RoundedRectMask::insetAt(double y) const {
    const double depth = std::min(y - rect_.minY(), rect_.maxY() - y);
    if (depth >= radius_) return 0;
    const double rise = radius_ - depth;
    return radius_ - std::sqrt(std::max(radius_ * radius_ - rise * rise, 0.0));
}

RoundedRectMask::Row RoundedRectMask::row(int y) {
    const double top = std::max<double>(y, rect_.minY());
    const double bottom = std::min<double>(y + 1, rect_.maxY());
    if (!(bottom > top) || !(rect_.width() > 0)) return {};

    // A row away from the corners has one line; else the edges are known once the widest and narrowest line
    // are.
    const bool isStraight = top >= rect_.minY() + radius_ && bottom <= rect_.maxY() - radius_;
    const int lineCount = isStraight ? 1 : kLinesPerPixel;
    const double lineHeight = (bottom - top) / lineCount;
    double smallestInset = radius_;
    double largestInset = 0;
    for (int i = 0; i < lineCount; ++i) {
        const double inset = insetAt(top + (i + 0.5) * lineHeight);
        smallestInset = std::min(smallestInset, inset);
        largestInset = std::max(largestInset, inset);
    }
    const auto clipped = [this](double x) {
        return static_cast<int>(std::clamp<double>(x, 0, canvasWidth_));
    };
    Row row;
    row.begin = clipped(std::floor(rect_.minX() + smallestInset));
    row.end = clipped(std::ceil(rect_.maxX() - smallestInset));
    const bool isWholeHeight = bottom - top >= 1;
    row.fullBegin = isWholeHeight ? clipped(std::ceil(rect_.minX() + largestInset)) : row.end;
    row.fullEnd = isWholeHeight ? clipped(std::floor(rect_.maxX() - largestInset)) : row.end;
    if (row.fullBegin >= row.fullEnd) row.fullBegin = row.fullEnd = row.end;

    const auto edge = [&](int from, int to, std::vector<std::uint8_t>& coverage) {
        sums_.assign(static_cast<std::size_t>(std::max(to - from, 0)), 0);
        for (int i = 0; i < lineCount && from < to; ++i) {
            const double inset = insetAt(top + (i + 0.5) * lineHeight);
            accumulate(rect_.minX() + inset, rect_.maxX() - inset, lineHeight, from, to, sums_);
        }
        coverage.resize(sums_.size());
        std::transform(sums_.begin(), sums_.end(), coverage.begin(), coverageByte);
        return coverage.data();
    };
    row.leftCoverage = edge(row.begin, row.fullBegin, left_);
    row.rightCoverage = edge(row.fullEnd, row.end, right_);
    return row;
}

void RoundedRectMask::accumulate(double left, double right, double weight, int from, int to,
                                 std::vector<double>& coverage) const {
    for (int x = from; x < to; ++x) {
        const double overlap = std::min<double>(x + 1, right) - std::max<double>(x, left);
        if (overlap > 0) coverage[static_cast<std::size_t>(x - from)] += overlap * weight;
    }
}

void copyThroughMask(const std::uint8_t* picture, const RoundedRectMask::Row& mask,
                     std::uint8_t* destination) {
    blendByCoverage(picture + 4 * mask.begin, mask.leftCoverage, mask.fullBegin - mask.begin,
                    destination + 4 * mask.begin);
    std::memcpy(destination + 4 * mask.fullBegin, picture + 4 * mask.fullBegin,
                static_cast<std::size_t>(mask.fullEnd - mask.fullBegin) * 4);
    blendByCoverage(picture + 4 * mask.fullEnd, mask.rightCoverage, mask.end - mask.fullEnd,
                    destination + 4 * mask.fullEnd);
}

}  // namespace varnelle
