#include "imaging/PictureSampler.h"

#include <algorithm>
#include <cassert>
#include <cmath>

namespace varnelle {
namespace {

using detail::ColorMatrix;
using detail::ColumnGroups;

constexpr int kGroupSize = 8;
constexpr int kLookupBytes = 16;
constexpr int kTapCount = 3;
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

/// Beyond this, a pixel needs more samples than the fast path has taps for.
constexpr double kMostSamplesPerPixel = 2;

int dividedUp(int a, int b) {
    return (a + b - 1) / b;
}

/// The stretch of samples that a pixel is the mean of. Sample 0 reaches from 0 to 1.
struct Stretch {
    double start;
    double length;

    /// Around `position`, which is brought near the samples: beyond them all is the same.
    Stretch(double position, double samplesPerPixel, int sampleCount)
        : start(0), length(std::max(samplesPerPixel, 1.0)) {
        start = std::clamp(position, -length - 1, sampleCount + length + 1) - length / 2;
    }
    [[nodiscard]] int firstSample() const { return static_cast<int>(std::floor(start)); }
    [[nodiscard]] double end() const { return start + length; }
    [[nodiscard]] double share(int sample) const {
        return std::max(std::min(end(), sample + 1.0) - std::max<double>(start, sample), 0.0) / length;
    }
};

/// Three consecutive samples and their shares in the mean over a stretch.
struct Taps {
    int first = 0;
    std::array<double, kTapCount> weights{};
};

/// The first and the last sample are repeated for ever.
Taps tapsOf(const Stretch& stretch, int sampleCount) {
    const int index = stretch.firstSample();
    Taps taps;
    taps.first = std::clamp(index, 0, std::max(sampleCount - kTapCount, 0));
    for (int sample = index; sample < index + kTapCount; ++sample) {
        const int clamped = std::clamp(sample, 0, sampleCount - 1);
        taps.weights.at(static_cast<std::size_t>(clamped - taps.first)) += stretch.share(sample);
    }
    return taps;
}

ColumnGroups columnGroups(double samplesPerPixel, double left, int firstColumn, int columnCount,
                          int sampleCount) {
    ColumnGroups groups;
    const int groupCount = dividedUp(columnCount, kGroupSize);
    groups.first.assign(static_cast<std::size_t>(groupCount) * kLookupBytes, 0x80);
    for (int g = 0; g < groupCount; ++g) {
        std::array<Taps, kGroupSize> taps;
        for (int i = 0; i < kGroupSize; ++i) {
            const double x = firstColumn + g * kGroupSize + i + 0.5;
            Taps& tap = taps.at(static_cast<std::size_t>(i));
            tap = tapsOf({(x - left) * samplesPerPixel, samplesPerPixel, sampleCount}, sampleCount);
            groups.secondWeights.push_back(fixed15(tap.weights[1]));
            groups.thirdWeights.push_back(fixed15(tap.weights[2]));
        }
        const int base = std::max(0, std::min(taps.front().first, sampleCount - detail::kColumnWindowBytes));
        groups.bases.push_back(base);
        for (int i = 0; i < kGroupSize; ++i) {
            const int first = taps.at(static_cast<std::size_t>(i)).first - base;
            assert(first >= 0 && first < kLookupBytes);
            groups.first[static_cast<std::size_t>(g * kLookupBytes + 2 * i)] =
                static_cast<std::uint8_t>(first);
        }
    }
    const bool needsThird = std::any_of(groups.thirdWeights.begin(), groups.thirdWeights.end(),
                                        [](std::int16_t weight) { return weight != 0; });
    if (!needsThird) groups.thirdWeights.clear();
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
    Component component;
    component.plane = plane;
    component.byteOffset = byteOffset;
    component.byteStride = byteStride;
    component.width = width;
    component.height = height;
    component.samplesPerColumn = picture_.width / destination_.width() / subsampling;
    component.samplesPerRow = picture_.height / destination_.height() / subsampling;
    if (std::max(component.samplesPerColumn, component.samplesPerRow) <= kMostSamplesPerPixel + 1e-9) {
        ColumnGroups& groups = groups_.at(static_cast<std::size_t>(subsampling - 1));
        if (groups.bases.empty()) {
            groups = columnGroups(component.samplesPerColumn, destination_.minX(), firstColumn_, columnCount_,
                                  width);
        }
        component.groups = &groups;
    } else {
        addColumns(component);
    }
    for (auto& row : component.rows) row.resize(static_cast<std::size_t>(columnCount_ + kRowPadding));
    components_.push_back(std::move(component));
}

void PictureSampler::row(int y, std::uint8_t* bgra) {
    const detail::RowTriple a = rowTriple(components_[0], y);
    const detail::RowTriple b = rowTriple(components_[1], y);
    const detail::RowTriple c = rowTriple(components_[2], y);
    if (picture_.layout == PlanarPicture::Layout::bgra) {
        detail::mergeBGR(a, b, c, columnCount_, bgra);
    } else {
        detail::mergeYCbCr(a, b, c, matrix_, columnCount_, bgra);
    }
}

detail::RowTriple PictureSampler::rowTriple(Component& component, int y) {
    if (component.groups == nullptr) return averagedRow(component, y);
    const Stretch stretch((y + 0.5 - destination_.minY()) * component.samplesPerRow, component.samplesPerRow,
                          component.height);
    const Taps taps = tapsOf(stretch, component.height);
    detail::RowTriple triple;
    triple.secondWeight = fixed15(taps.weights[1]);
    triple.thirdWeight = fixed15(taps.weights[2]);
    // Rows without a share aren't made.
    triple.first = resampledRow(component, taps.first);
    triple.second = triple.secondWeight > 0 ? resampledRow(component, taps.first + 1) : triple.first;
    triple.third = triple.thirdWeight > 0 ? resampledRow(component, taps.first + 2) : triple.first;
    return triple;
}

/// Row `index` of a component, resampled across. Three consecutive rows are kept.
const std::int16_t* PictureSampler::resampledRow(Component& component, int index) {
    const auto slot = static_cast<std::size_t>(index % kTapCount);
    std::int16_t* row = component.rows.at(slot).data();
    if (component.rowIndices.at(slot) != index) {
        component.rowIndices.at(slot) = index;
        detail::resampleColumns(sourceRow(component, index), *component.groups, row);
    }
    return row;
}

/// The samples of a row side by side, at least a window's worth of them.
const std::uint8_t* PictureSampler::sourceRow(const Component& component, int index) {
    const std::uint8_t* row =
        component.plane.data + index * component.plane.bytesPerRow + component.byteOffset;
    if (component.byteStride == 1 && component.width >= detail::kColumnWindowBytes) return row;
    scratch_.resize(static_cast<std::size_t>(std::max(component.width, detail::kColumnWindowBytes)));
    for (int x = 0; x < component.width; ++x)
        scratch_[static_cast<std::size_t>(x)] = row[x * component.byteStride];
    return scratch_.data();
}

void PictureSampler::addColumns(Component& component) const {
    const auto placeOf = [&](double x, std::int32_t& sample, float& share) {
        sample = std::clamp(static_cast<std::int32_t>(std::floor(x)), 0, component.width - 1);
        share = static_cast<float>(x - sample);
    };
    component.columns.resize(static_cast<std::size_t>(columnCount_));
    for (int i = 0; i < columnCount_; ++i) {
        const Stretch stretch((firstColumn_ + i + 0.5 - destination_.minX()) * component.samplesPerColumn,
                              component.samplesPerColumn, component.width);
        ColumnStretch& column = component.columns[static_cast<std::size_t>(i)];
        placeOf(stretch.start, column.begin, column.beginShare);
        placeOf(stretch.end(), column.end, column.endShare);
    }
}

/// The means of rectangles of any size: rows are weighted and summed, then stretches of columns taken from
/// their running sum.
detail::RowTriple PictureSampler::averagedRow(Component& component, int y) {
    const auto width = static_cast<std::size_t>(component.width);
    columnMeans_.assign(width, 0);
    const Stretch rows((y + 0.5 - destination_.minY()) * component.samplesPerRow, component.samplesPerRow,
                       component.height);
    for (int sample = rows.firstSample(); sample < rows.end(); ++sample) {
        const std::uint8_t* row = sourceRow(component, std::clamp(sample, 0, component.height - 1));
        detail::addWeighted(row, static_cast<float>(64 * rows.share(sample)), component.width,
                            columnMeans_.data());
    }
    // Whole numbers: their sums are exact, so that a stretch far to the right is as good as one on the left.
    fixedMeans_.resize(width);
    sums_.resize(width);
    std::int32_t sum = 0;
    for (std::size_t x = 0; x < width; ++x) {
        const auto mean = static_cast<std::int32_t>(columnMeans_[x] + 0.5F);
        fixedMeans_[x] = mean;
        sums_[x] = sum;
        sum += mean;
    }
    const float perSample = 1 / static_cast<float>(std::max(component.samplesPerColumn, 1.0));
    std::int16_t* output = component.rows[0].data();
    for (const ColumnStretch& column : component.columns) {
        const auto begin = static_cast<std::size_t>(column.begin);
        const auto end = static_cast<std::size_t>(column.end);
        const float total = static_cast<float>(sums_[end] - sums_[begin]) +
                            column.endShare * static_cast<float>(fixedMeans_[end]) -
                            column.beginShare * static_cast<float>(fixedMeans_[begin]);
        *output++ = static_cast<std::int16_t>(total * perSample + 0.5F);
    }
    const std::int16_t* const first = component.rows[0].data();
    return {first, first, first, 0, 0};
}

}  // namespace varnelle
