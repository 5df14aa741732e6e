#include "imaging/PictureSampler.h"

#include <algorithm>
#include <cassert>
#include <cmath>

namespace varnelle {
namespace {

using detail::ColorMatrix;
using detail::ColumnGroups;

constexpr int kGroupSize = 8;
constexpr int kWindowBytes = 16;
/// Output rows are padded to this many samples, so that kernels need no tails.
constexpr int kRowPadding = 32;

std::int16_t fixed15(double x) {
    return static_cast<std::int16_t>(std::clamp(std::lround(x * 32768), -32768L, 32767L));
}

/// From the definitions in ITU-R BT.601 and BT.709.
ColorMatrix colorMatrix(const PlanarPicture& picture) {
    const bool isBT709 = picture.matrix == PlanarPicture::Matrix::bt709;
    const double kr = isBT709 ? 0.2126 : 0.299;
    const double kb = isBT709 ? 0.0722 : 0.114;
    const double kg = 1 - kr - kb;
    const double lumaGain = picture.isFullRange ? 1 : 255.0 / 219;
    const double chromaGain = picture.isFullRange ? 1 : 255.0 / 224;
    ColorMatrix matrix;
    matrix.lumaOffset = picture.isFullRange ? 0 : 16 * 64;
    matrix.lumaGain = fixed15(lumaGain - 1);
    matrix.redFromV = fixed15(2 * (1 - kr) * chromaGain - 2);
    matrix.greenFromU = fixed15(-2 * (1 - kb) * kb / kg * chromaGain);
    matrix.greenFromV = fixed15(-2 * (1 - kr) * kr / kg * chromaGain);
    matrix.blueFromU = fixed15(2 * (1 - kb) * chromaGain - 2);
    return matrix;
}

/// How many samples to average so that what is left to the interpolation shrinks by at most two.
int reductionFactor(double samplesPerPixel) {
    return std::max(1, static_cast<int>(std::ceil(samplesPerPixel / 2 - 1e-9)));
}

int dividedUp(int a, int b) {
    return (a + b - 1) / b;
}

ColumnGroups columnGroups(double samplesPerPixel, double left, int firstColumn, int columnCount,
                          int sampleCount) {
    ColumnGroups groups;
    const int groupCount = dividedUp(columnCount, kGroupSize);
    const auto bytes = static_cast<std::size_t>(groupCount) * kWindowBytes;
    groups.first.assign(bytes, 0x80);
    groups.second.assign(bytes, 0x80);
    for (int g = 0; g < groupCount; ++g) {
        std::array<int, kGroupSize> lower{};
        for (int i = 0; i < kGroupSize; ++i) {
            const double x = firstColumn + g * kGroupSize + i + 0.5;
            const double position =
                std::clamp((x - left) * samplesPerPixel - 0.5, 0.0, static_cast<double>(sampleCount - 1));
            lower.at(static_cast<std::size_t>(i)) = static_cast<int>(position);
            groups.weights.push_back(fixed15(position - std::floor(position)));
        }
        const int base = std::max(0, std::min(lower.front(), sampleCount - kWindowBytes));
        groups.bases.push_back(base);
        for (int i = 0; i < kGroupSize; ++i) {
            const int first = lower.at(static_cast<std::size_t>(i));
            const int second = std::min(first + 1, sampleCount - 1);
            assert(second - base < kWindowBytes);
            const auto lane = static_cast<std::size_t>(g * kWindowBytes + 2 * i);
            groups.first[lane] = static_cast<std::uint8_t>(first - base);
            groups.second[lane] = static_cast<std::uint8_t>(second - base);
        }
    }
    return groups;
}

}  // namespace

PictureSampler::PictureSampler(const PlanarPicture& picture, const CGRect& destination, int firstColumn,
                               int columnCount)
    : picture_(picture),
      destination_(destination),
      firstColumn_(firstColumn),
      columnCount_(columnCount),
      matrix_(colorMatrix(picture)) {
    assert(picture.width > 0 && picture.height > 0 && !destination.isEmpty() && columnCount > 0);
    const int halfWidth = dividedUp(picture.width, 2);
    const int halfHeight = dividedUp(picture.height, 2);
    components_.reserve(3);
    switch (picture.layout) {
        case PlanarPicture::Layout::i420:
            addComponent(picture.planes[0], 0, 1, picture.width, picture.height, 1);
            addComponent(picture.planes[1], 0, 1, halfWidth, halfHeight, 2);
            addComponent(picture.planes[2], 0, 1, halfWidth, halfHeight, 2);
            break;
        case PlanarPicture::Layout::nv12:
            addComponent(picture.planes[0], 0, 1, picture.width, picture.height, 1);
            addComponent(picture.planes[1], 0, 2, halfWidth, halfHeight, 2);
            addComponent(picture.planes[1], 1, 2, halfWidth, halfHeight, 2);
            break;
        case PlanarPicture::Layout::bgra:
            for (int i = 0; i < 3; ++i)
                addComponent(picture.planes[0], i, 4, picture.width, picture.height, 1);
            break;
    }
}

void PictureSampler::addComponent(const PlanarPicture::Plane& plane, int byteOffset, int byteStride,
                                  int width, int height, int subsampling) {
    const double samplesPerColumn = picture_.width / destination_.width() / subsampling;
    const double samplesPerRow = picture_.height / destination_.height() / subsampling;
    Component component;
    component.plane = plane;
    component.byteOffset = byteOffset;
    component.byteStride = byteStride;
    component.width = width;
    component.height = height;
    component.reduceX = reductionFactor(samplesPerColumn);
    component.reduceY = reductionFactor(samplesPerRow);
    component.scaleY = samplesPerRow / component.reduceY;
    ColumnGroups& groups = groups_.at(static_cast<std::size_t>(subsampling - 1));
    if (groups.bases.empty()) {
        groups = columnGroups(samplesPerColumn / component.reduceX, destination_.minX(), firstColumn_,
                              columnCount_, dividedUp(width, component.reduceX));
    }
    component.groups = &groups;
    for (auto& row : component.rows) row.resize(static_cast<std::size_t>(columnCount_ + kRowPadding));
    components_.push_back(std::move(component));
}

void PictureSampler::row(int y, std::uint8_t* bgra) {
    const detail::RowPair a = rowPair(components_[0], y);
    const detail::RowPair b = rowPair(components_[1], y);
    const detail::RowPair c = rowPair(components_[2], y);
    if (picture_.layout == PlanarPicture::Layout::bgra) {
        detail::mergeBGR(a, b, c, columnCount_, bgra);
    } else {
        detail::mergeYCbCr(a, b, c, matrix_, columnCount_, bgra);
    }
}

int PictureSampler::reducedHeight(const Component& component) const {
    return dividedUp(component.height, component.reduceY);
}

detail::RowPair PictureSampler::rowPair(Component& component, int y) {
    const int lastRow = reducedHeight(component) - 1;
    const double position = std::clamp((y + 0.5 - destination_.minY()) * component.scaleY - 0.5, 0.0,
                                       static_cast<double>(lastRow));
    const int upper = static_cast<int>(position);
    const int lower = std::min(upper + 1, lastRow);
    detail::RowPair pair;
    pair.upper = resampledRow(component, upper, lower);
    pair.lower = resampledRow(component, lower, upper);
    pair.weight = fixed15(position - upper);
    return pair;
}

/// Row `index` of a component, resampled across; `keep` is the other row in use, which must not be
/// overwritten.
const std::int16_t* PictureSampler::resampledRow(Component& component, int index, int keep) {
    for (std::size_t i = 0; i < 2; ++i) {
        if (component.rowIndices.at(i) == index) return component.rows.at(i).data();
    }
    const std::size_t slot = component.rowIndices[0] == keep ? 1 : 0;
    component.rowIndices.at(slot) = index;
    std::int16_t* row = component.rows.at(slot).data();
    detail::resampleColumns(sourceRow(component, index), *component.groups, row);
    return row;
}

/// The samples of a (reduced) row side by side, at least a window's worth of them.
const std::uint8_t* PictureSampler::sourceRow(const Component& component, int index) {
    const bool isDirect = component.reduceX == 1 && component.reduceY == 1 && component.byteStride == 1 &&
                          component.width >= kWindowBytes;
    if (isDirect) return component.plane.data + index * component.plane.bytesPerRow + component.byteOffset;

    const int count = dividedUp(component.width, component.reduceX);
    scratch_.assign(static_cast<std::size_t>(std::max(count, kWindowBytes)), 0);
    sums_.assign(static_cast<std::size_t>(count), 0);
    const int firstRow = index * component.reduceY;
    const int rowCount = std::min(component.reduceY, component.height - firstRow);
    for (int y = firstRow; y < firstRow + rowCount; ++y) {
        const std::uint8_t* row =
            component.plane.data + y * component.plane.bytesPerRow + component.byteOffset;
        for (int x = 0; x < component.width; ++x) {
            sums_[static_cast<std::size_t>(x / component.reduceX)] += row[x * component.byteStride];
        }
    }
    for (int x = 0; x < count; ++x) {
        const int columns = std::min(component.reduceX, component.width - x * component.reduceX);
        const auto samples = static_cast<std::uint32_t>(columns * rowCount);
        const auto i = static_cast<std::size_t>(x);
        scratch_[i] = static_cast<std::uint8_t>((sums_[i] + samples / 2) / samples);
    }
    return scratch_.data();
}

}  // namespace varnelle
