#include "imaging/PictureSampler.h"

#include <gtest/gtest.h>

#include <cmath>
#include <random>

namespace varnelle {
namespace {

std::vector<std::uint8_t> noise(std::size_t count, unsigned seed) {
    std::mt19937 random(seed);
    std::vector<std::uint8_t> bytes(count);
    for (auto& byte : bytes)
        byte = static_cast<std::uint8_t>(random() % 8 < 2 ? (random() % 2) * 255 : random());
    return bytes;
}

/// A picture with storage of its own, rows padded unevenly.
struct OwnedPicture {
    OwnedPicture(PlanarPicture::Layout layout, int width, int height, unsigned seed) {
        picture.layout = layout;
        picture.width = width;
        picture.height = height;
        const int halfWidth = (width + 1) / 2;
        const int halfHeight = (height + 1) / 2;
        switch (layout) {
            case PlanarPicture::Layout::i420:
                addPlane(width + 3, height, seed);
                addPlane(halfWidth + 1, halfHeight, seed + 1);
                addPlane(halfWidth + 5, halfHeight, seed + 2);
                break;
            case PlanarPicture::Layout::nv12:
                addPlane(width + 1, height, seed);
                addPlane(halfWidth * 2 + 3, halfHeight, seed + 1);
                break;
            case PlanarPicture::Layout::bgra:
                addPlane(width * 4 + 4, height, seed);
                break;
        }
    }
    void addPlane(int bytesPerRow, int rows, unsigned seed) {
        storage.push_back(noise(static_cast<std::size_t>(bytesPerRow * rows), seed));
        picture.planes.at(storage.size() - 1) = {storage.back().data(), bytesPerRow};
    }
    [[nodiscard]] double sample(std::size_t plane, int x, int y, int stride = 1, int offset = 0) const {
        return picture.planes.at(plane).data[y * picture.planes.at(plane).bytesPerRow + x * stride + offset];
    }

    PlanarPicture picture;
    std::vector<std::vector<std::uint8_t>> storage;
};

/// The mean of a plane of w x h samples over a rectangle around a point, edges repeated. A rectangle of one
/// sample is bilinear interpolation.
template <typename Sample>
double meanAround(const Sample& sample, int w, int h, CGPoint center, CGSize size) {
    const CGRect area{{center.x - size.width / 2, center.y - size.height / 2}, size};
    double sum = 0;
    for (int y = static_cast<int>(std::floor(area.minY())); y < area.maxY(); ++y) {
        for (int x = static_cast<int>(std::floor(area.minX())); x < area.maxX(); ++x) {
            const CGRect common =
                area.intersection({{static_cast<double>(x), static_cast<double>(y)}, {1, 1}});
            sum +=
                common.width() * common.height() * sample(std::clamp(x, 0, w - 1), std::clamp(y, 0, h - 1));
        }
    }
    return sum / (size.width * size.height);
}

/// What the sampler should give at an output pixel, straight from the definitions. Blue, green, red.
std::array<double, 3> expectedPixel(const OwnedPicture& owned, const CGRect& destination, int column,
                                    int row) {
    const PlanarPicture& p = owned.picture;
    const CGSize pixel{p.width / destination.width(), p.height / destination.height()};
    const CGPoint center{(column + 0.5 - destination.minX()) * pixel.width,
                         (row + 0.5 - destination.minY()) * pixel.height};
    const CGSize area{std::max(pixel.width, 1.0), std::max(pixel.height, 1.0)};
    if (p.layout == PlanarPicture::Layout::bgra) {
        std::array<double, 3> result{};
        for (int k = 0; k < 3; ++k) {
            result.at(static_cast<std::size_t>(k)) = meanAround(
                [&](int i, int j) { return owned.sample(0, i, j, 4, k); }, p.width, p.height, center, area);
        }
        return result;
    }
    const bool isPacked = p.layout == PlanarPicture::Layout::nv12;
    const auto chroma = [&](int index) {
        const auto sample = [&](int i, int j) {
            return isPacked ? owned.sample(1, i, j, 2, index)
                            : owned.sample(static_cast<std::size_t>(1 + index), i, j);
        };
        return meanAround(sample, (p.width + 1) / 2, (p.height + 1) / 2, {center.x / 2, center.y / 2},
                          {std::max(pixel.width / 2, 1.0), std::max(pixel.height / 2, 1.0)}) -
               128;
    };
    const double luma =
        meanAround([&](int i, int j) { return owned.sample(0, i, j); }, p.width, p.height, center, area);
    const double kr = p.matrix == PlanarPicture::Matrix::bt709 ? 0.2126 : 0.299;
    const double kb = p.matrix == PlanarPicture::Matrix::bt709 ? 0.0722 : 0.114;
    const double lift = p.isFullRange ? luma : (luma - 16) * 255 / 219;
    const double gain = p.isFullRange ? 1 : 255.0 / 224;
    const double u = chroma(0) * gain;
    const double v = chroma(1) * gain;
    const double red = lift + 2 * (1 - kr) * v;
    const double blue = lift + 2 * (1 - kb) * u;
    const double green = (lift - kr * red - kb * blue) / (1 - kr - kb);
    return {std::clamp(blue, 0.0, 255.0), std::clamp(green, 0.0, 255.0), std::clamp(red, 0.0, 255.0)};
}

TEST(PictureSampler, MatchesMeansOfAreasAndTheStandardsMatrices) {
    struct Case {
        const char* what;
        PlanarPicture::Layout layout;
        int width, height;
        CGRect destination;
        PlanarPicture::Matrix matrix;
        bool isFullRange;
    };
    using L = PlanarPicture::Layout;
    using M = PlanarPicture::Matrix;
    for (const Case& c : {
             Case{"identity", L::i420, 64, 48, {{0, 0}, {64, 48}}, M::bt709, false},
             Case{"shrunk between pixels", L::i420, 101, 77, {{3.3, -2.7}, {61.4, 50.2}}, M::bt709, false},
             Case{"shrunk by just two", L::i420, 128, 64, {{0, 0}, {64, 32}}, M::bt601, false},
             Case{"enlarged beyond the canvas",
                  L::nv12,
                  45,
                  33,
                  {{-80.2, -31.5}, {211.7, 160.9}},
                  M::bt709,
                  true},
             Case{"full range", L::i420, 50, 40, {{5, 5}, {70, 56}}, M::bt601, true},
             Case{"narrower than a vector", L::i420, 5, 3, {{1.5, 0.5}, {90, 60}}, M::bt709, false},
             Case{"shrunk by more than two", L::i420, 301, 177, {{1.3, 2.2}, {80.4, 50.3}}, M::bt709, false},
             Case{"shrunk to a spot", L::nv12, 640, 480, {{20, 10}, {2.5, 3.5}}, M::bt709, false},
             Case{"packed colours, shrunk", L::bgra, 370, 290, {{-3.25, 0.25}, {80, 25}}, M::bt709, false},
             Case{"packed colours", L::bgra, 37, 29, {{0.25, 0.25}, {40, 55}}, M::bt709, false},
         }) {
        OwnedPicture owned(c.layout, c.width, c.height, 11);
        owned.picture.matrix = c.matrix;
        owned.picture.isFullRange = c.isFullRange;
        const int firstColumn = 2;
        const int columns = 83;
        PictureSampler sampler(owned.picture, c.destination, firstColumn, columns);
        std::vector<std::uint8_t> row(static_cast<std::size_t>(columns) * 4 + 1, 77);
        double worst = 0;
        for (const int y : {0, 1, 2, 17, 16, 30, 59}) {
            sampler.row(y, row.data());
            for (int x = 0; x < columns; ++x) {
                const auto expected = expectedPixel(owned, c.destination, firstColumn + x, y);
                for (std::size_t k = 0; k < 3; ++k) {
                    worst =
                        std::max(worst, std::abs(row[static_cast<std::size_t>(4 * x) + k] - expected.at(k)));
                }
                ASSERT_EQ(row[static_cast<std::size_t>(4 * x) + 3], 255);
            }
        }
        EXPECT_LT(worst, 1.0) << c.what;
        EXPECT_EQ(row.back(), 77) << "nothing is written beyond the row";
    }
}

TEST(PictureSamplerKernels, MatchTheirScalarTwins) {
    const auto bytes = noise(4096, 3);
    detail::ColumnGroups groups;
    std::mt19937 random(5);
    for (int g = 0; g < 37; ++g) {
        groups.bases.push_back(static_cast<int>(random() % 4000));
        for (int i = 0; i < 8; ++i) {
            groups.first.insert(groups.first.end(), {static_cast<std::uint8_t>(random() % 16), 0x80});
            const auto second = static_cast<std::int16_t>(random() % 32768);
            groups.secondWeights.push_back(second);
            groups.thirdWeights.push_back(static_cast<std::int16_t>(random() % (32768U - second)));
        }
    }
    std::vector<std::int16_t> vector(37 * 8 + 32);
    std::vector<std::int16_t> scalar(37 * 8 + 32);
    for (const bool hasThird : {true, false}) {
        if (!hasThird) groups.thirdWeights.clear();
        detail::resampleColumns(bytes.data(), groups, vector.data());
        detail::resampleColumnsScalar(bytes.data(), groups, scalar.data());
        EXPECT_EQ(vector, scalar);
    }

    for (const int count : {1, 31, 1000}) {
        std::vector<float> a(1001, 3.5F);
        std::vector<float> b = a;
        detail::addWeighted(bytes.data() + 1, 12.3F, count, a.data());
        detail::addWeightedScalar(bytes.data() + 1, 12.3F, count, b.data());
        for (std::size_t i = 0; i < a.size(); ++i) EXPECT_NEAR(a[i], b[i], 1e-3) << count << ", " << i;
    }

    std::array<std::vector<std::int16_t>, 9> rows;
    for (auto& row : rows) {
        row.resize(160);
        for (auto& value : row)
            value = static_cast<std::int16_t>(random() % 4 == 0 ? 16320 : random() % 16321);
    }
    const auto triple = [&](std::size_t i, int second, int third) {
        return detail::RowTriple{rows.at(i).data(), rows.at(i + 1).data(), rows.at(i + 2).data(),
                                 static_cast<std::int16_t>(second), static_cast<std::int16_t>(third)};
    };
    const detail::ColorMatrix matrix{1024, 5387, -6795, -6988, -17460, 3688};
    for (const int count : {1, 15, 16, 33, 128}) {
        std::vector<std::uint8_t> a(4 * 130, 9);
        std::vector<std::uint8_t> b(4 * 130, 9);
        detail::mergeYCbCr(triple(0, 0, 0), triple(3, 32767, 0), triple(6, 12345, 15000), matrix, count,
                           a.data());
        detail::mergeYCbCrScalar(triple(0, 0, 0), triple(3, 32767, 0), triple(6, 12345, 15000), matrix, count,
                                 b.data());
        EXPECT_EQ(a, b) << count;
        detail::mergeBGR(triple(0, 77, 0), triple(3, 20000, 12000), triple(6, 0, 9000), count, a.data());
        detail::mergeBGRScalar(triple(0, 77, 0), triple(3, 20000, 12000), triple(6, 0, 9000), count,
                               b.data());
        EXPECT_EQ(a, b) << count;
    }
}

}  // namespace
}  // namespace varnelle
