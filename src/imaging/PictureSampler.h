#pragma once

#include <array>
#include <cstdint>
#include <vector>

#include "foundation/Geometry.h"

namespace varnelle {

/// A decoded picture that someone else owns. Row 0 is the top row.
struct PlanarPicture {
    enum class Layout { i420, nv12, bgra };
    enum class Matrix { bt709, bt601 };
    struct Plane {
        const std::uint8_t* data = nullptr;
        std::ptrdiff_t bytesPerRow = 0;
    };

    Layout layout = Layout::i420;
    int width = 0;   ///< pixels
    int height = 0;  ///< pixels
    std::array<Plane, 3> planes;
    Matrix matrix = Matrix::bt709;  ///< ITU-R BT.709 or BT.601; not for BGRA
    bool isFullRange = false;       ///< luma 0 to 255 instead of 16 to 235; not for BGRA
};

namespace detail {

/// Where eight neighbouring output pixels find the three consecutive source samples that each is averaged
/// from: the first is one of 16 bytes from `base` on, picked into the low half of a 16-bit lane. The weights
/// of the second and the third are in 1/32768; the first has the rest.
struct ColumnGroups {
    std::vector<std::int32_t> bases;
    std::vector<std::uint8_t> first;          ///< 16 a group
    std::vector<std::int16_t> secondWeights;  ///< 8 a group
    std::vector<std::int16_t> thirdWeights;   ///< 8 a group; empty if no pixel needs a third sample
};
/// Bytes that have to be readable from a base on.
inline constexpr int kColumnWindowBytes = 18;

/// Constants of a conversion to RGB on values with six fractional bits, as 1/32768.
struct ColorMatrix {
    std::int16_t lumaOffset = 0;
    std::int16_t lumaGain = 0;    ///< what exceeds 1
    std::int16_t redFromV = 0;    ///< what exceeds 2
    std::int16_t greenFromU = 0;  ///< negative
    std::int16_t greenFromV = 0;  ///< negative
    std::int16_t blueFromU = 0;   ///< what exceeds 2
};

/// Three consecutive rows of a plane, already resampled across, and the weights of the second and third for
/// the output row in 1/32768.
struct RowTriple {
    const std::int16_t* first = nullptr;
    const std::int16_t* second = nullptr;
    const std::int16_t* third = nullptr;
    std::int16_t secondWeight = 0;
    std::int16_t thirdWeight = 0;
};

/// The kernels, each for the best instruction set of the machine. Counts are rounded up to whole groups of 8
/// (rows across) or 16 (merging) samples, for which there must be room.
void resampleColumns(const std::uint8_t* row, const ColumnGroups& groups, std::int16_t* output);
void mergeYCbCr(const RowTriple& y, const RowTriple& u, const RowTriple& v, const ColorMatrix& matrix,
                int count, std::uint8_t* bgra);
void mergeBGR(const RowTriple& b, const RowTriple& g, const RowTriple& r, int count, std::uint8_t* bgra);

/// Adds so many samples of a row, times a weight, to sums.
void addWeighted(const std::uint8_t* row, float weight, int count, float* sums);

/// The same in plain loops, to compare with.
void addWeightedScalar(const std::uint8_t* row, float weight, int count, float* sums);
void resampleColumnsScalar(const std::uint8_t* row, const ColumnGroups& groups, std::int16_t* output);
void mergeYCbCrScalar(const RowTriple& y, const RowTriple& u, const RowTriple& v, const ColorMatrix& matrix,
                      int count, std::uint8_t* bgra);
void mergeBGRScalar(const RowTriple& b, const RowTriple& g, const RowTriple& r, int count,
                    std::uint8_t* bgra);

}  // namespace detail

/// Puts a picture into a rectangle of a canvas, with the edge pixels repeated beyond the edges. An output
/// pixel is the mean of the source under it, or under a square of one source sample around it where the
/// picture is enlarged, which is bilinear interpolation. (Interpolating a shrunk picture too would skip parts
/// of the source: text loses strokes, and edges tremble in a slow zoom.) YCbCr planes are sampled straight
/// into BGRA. Chroma is taken to lie in the middle of its four pixels.
///
/// Rows are resampled across once and kept while neighbouring output rows need them, so ask for rows in
/// order. One sampler is for one thread; several may read the same picture.
class PictureSampler {
public:
    /// `destination` is where the whole picture lands, in canvas pixels with y downwards; only columns
    /// `firstColumn` to `firstColumn + columnCount` will be asked for.
    PictureSampler(const PlanarPicture& picture, const CGRect& destination, int firstColumn, int columnCount);

    /// Writes the columns of canvas row `y`, opaque, to `bgra` (4 bytes a pixel; `columnCount` pixels).
    void row(int y, std::uint8_t* bgra);

private:
    /// Where the stretch of samples lies that an output pixel is the mean of: from within one sample up to
    /// within another.
    struct ColumnStretch {
        std::int32_t begin = 0;
        std::int32_t end = 0;
        float beginShare = 0;
        float endShare = 0;
    };

    /// One component of the picture, as it is resampled.
    struct Component {
        PlanarPicture::Plane plane;
        int byteOffset = 0;  ///< of the component within a sample
        int byteStride = 1;  ///< from sample to sample
        int width = 0;
        int height = 0;
        double samplesPerColumn = 1;  ///< of the canvas
        double samplesPerRow = 1;
        const detail::ColumnGroups* groups = nullptr;  ///< null where more than three samples make a pixel
        std::vector<ColumnStretch> columns;            ///< instead of those
        std::array<std::vector<std::int16_t>, 3> rows;
        std::array<int, 3> rowIndices{-1, -1, -1};
    };

    void addComponent(const PlanarPicture::Plane& plane, int byteOffset, int byteStride, int width,
                      int height, int subsampling);
    detail::RowTriple rowTriple(Component& component, int y);
    const std::int16_t* resampledRow(Component& component, int index);
    const std::uint8_t* sourceRow(const Component& component, int index);
    void addColumns(Component& component) const;
    detail::RowTriple averagedRow(Component& component, int y);

    PlanarPicture picture_;
    CGRect destination_;
    int firstColumn_;
    int columnCount_;
    detail::ColorMatrix matrix_;
    std::array<detail::ColumnGroups, 2> groups_;  // of full-size and of subsampled components
    std::vector<Component> components_;
    std::vector<std::uint8_t> scratch_;
    std::vector<float> columnMeans_;
    std::vector<std::int32_t> fixedMeans_;  ///< with six fractional bits
    std::vector<std::int32_t> sums_;        ///< of the means before each
};

}  // namespace varnelle
