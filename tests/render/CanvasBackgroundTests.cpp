#include "render/CanvasBackground.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstring>
#include <fstream>
#include <future>
#include <map>
#include <set>
#include <vector>

#include "foundation/Resources.h"
#include "imaging/PNG.h"
#include "media/MediaError.h"
#include "media/PictureFile.h"
#include "render/AspectFill.h"
#include "render/WallpaperOptions.h"
#include "support/TemporaryDirectory.h"

namespace varnelle {
namespace {

/// A pixel's components as 0 to 255, red first; y counted from the bottom.
std::array<double, 3> pixelAt(const Bitmap& bitmap, double x, double y) {
    const std::uint8_t* p = bitmap.view().pixel(static_cast<int>(x * bitmap.width()),
                                                bitmap.height() - 1 - static_cast<int>(y * bitmap.height()));
    return {static_cast<double>(p[2]), static_cast<double>(p[1]), static_cast<double>(p[0])};
}

void expectPlain(const Bitmap& bitmap, int red, int green, int blue) {
    for (int y = 0; y < bitmap.height(); ++y) {
        for (int x = 0; x < bitmap.width(); ++x) {
            const std::uint8_t* p = bitmap.view().pixel(x, y);
            ASSERT_EQ((std::array<int, 4>{p[2], p[1], p[0], p[3]}),
                      (std::array<int, 4>{red, green, blue, 255}));
        }
    }
}

/// A picture whose every pixel says where it is, and which doesn't repeat along either axis.
Bitmap patternPicture(int width, int height) {
    Bitmap bitmap(width, height);
    for (int y = 0; y < height; ++y) {
        for (int x = 0; x < width; ++x) {
            std::uint8_t* p = bitmap.view().pixel(x, y);
            p[0] = static_cast<std::uint8_t>((x * 255) / width);
            p[1] = static_cast<std::uint8_t>((y * 255) / height);
            p[2] = static_cast<std::uint8_t>(x % 2 == 0 ? 200 : 100);
            p[3] = 255;
        }
    }
    return bitmap;
}

void writeBytes(const URL& url, const std::string& bytes) {
    std::ofstream(url.path(), std::ios::binary)
        .write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
}

std::string readBytes(const URL& url) {
    std::ifstream file(url.path(), std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
}

/// A white BMP picture; with `hasPixels` false, only its header.
std::string whiteBMP(int width, int height, bool hasPixels) {
    std::string bytes("BM");
    const auto append = [&bytes](std::uint32_t value, int count) {
        for (int i = 0; i < count; ++i) bytes.push_back(static_cast<char>(value >> (8 * i)));
    };
    const auto size = static_cast<std::uint32_t>(width) * 4 * static_cast<std::uint32_t>(height);
    for (const std::uint32_t value : {54 + size, 0U, 54U, 40U}) append(value, 4);
    append(static_cast<std::uint32_t>(width), 4);
    append(static_cast<std::uint32_t>(height), 4);
    append(1, 2);
    append(32, 2);
    for (const std::uint32_t value : {0U, size, 0U, 0U, 0U, 0U}) append(value, 4);
    if (hasPixels) bytes.append(size, '\xFF');
    return bytes;
}

Bitmap backgroundOf(const URL& url, int width, int height) {
    return CanvasBackground().backgroundLayer(CanvasBackgroundStyle::macOSWallpaper, url.string(),
                                              {static_cast<double>(width), static_cast<double>(height)});
}

TEST(CanvasBackground, PlainWhereThereIsNoPicture) {
    using S = CanvasBackgroundStyle;
    CanvasBackground background;
    expectPlain(background.backgroundLayer(S::none, "procedural://gradient/mint", {20, 10}), 0, 0, 0);
    for (const char* path :
         {"procedural://gradient/unknown", "/nowhere/picture.jpg", "asset://wallpapers/unknown.jpg",
          "asset://", "asset:///", "asset://../../unknown", "unknown://", "/", "/dev/zero", "/dev/null"}) {
        expectPlain(background.backgroundLayer(S::macOSWallpaper, path, {20, 10}), 23, 26, 33);
        EXPECT_FALSE(wallpaperPreview(path, 10, 10, 2)) << path;
    }
}

TEST(CanvasBackground, PlainForFilesThatAreNoWholePictures) {
    const test::TemporaryDirectory directory;
    const URL whole = directory.file("whole.png");
    writePNG(patternPicture(300, 200).view(), whole);
    const std::string png = readBytes(whole);
    const std::string jpeg = readBytes(resourceURL("wallpapers/levels.jpg"));
    ASSERT_GT(jpeg.size(), 1000U);
    const std::map<std::string, std::string> files{
        {"empty.png", ""},
        {"text.jpg", "This is not a picture.\n"},
        {"playlist.jpg", "#EXTM3U\n/etc/passwd\n"},
        {"half.png", png.substr(0, png.size() / 2)},
        {"head.png", png.substr(0, 20)},
        {"half.jpg", jpeg.substr(0, jpeg.size() / 2)},
        {"head.jpg", jpeg.substr(0, 3)},
        {"long.bmp", whiteBMP(kMaximumPictureSide + 1, 1, true)},
        {"huge.bmp", whiteBMP(30000, 30000, false)},
        {"vast.bmp", whiteBMP(0x7FFFFFFF, 0x7FFFFFFF, false)},
    };
    for (const auto& [name, bytes] : files) {
        const URL url = directory.file(name);
        writeBytes(url, bytes);
        SCOPED_TRACE(name);
        EXPECT_THROW((void)loadPicture(url), MediaError);
        expectPlain(backgroundOf(url, 16, 9), 23, 26, 33);
    }
    expectPlain(backgroundOf(directory.url(), 16, 9), 23, 26, 33);
    writeBytes(directory.file("plain.bmp"), whiteBMP(40, 30, true));
    expectPlain(backgroundOf(directory.file("plain.bmp"), 16, 9), 255, 255, 255);
}

TEST(CanvasBackground, PlainForARelativePathWhereNoDirectoryIs) {
    const auto before = std::filesystem::current_path();
    {
        const test::TemporaryDirectory directory;
        std::filesystem::current_path(directory.url().path());
    }
    EXPECT_THROW((void)URL("picture.png"), std::exception) << "the working directory is gone";
    CanvasBackground background;
    expectPlain(background.backgroundLayer(CanvasBackgroundStyle::macOSWallpaper, "picture.png", {20, 10}),
                23, 26, 33);
    EXPECT_FALSE(wallpaperPreview("picture.png", 10, 10, 2));
    std::filesystem::current_path(before);
}

TEST(CanvasBackground, PictureFillsTheCanvasCutOnTwoSides) {
    const test::TemporaryDirectory directory;
    // Names with what a shell or a sequence reader would take for a pattern are names like any other.
    const URL url = directory.file("pattern %03d *.png");
    const Bitmap pattern = patternPicture(240, 120);
    writePNG(pattern.view(), url);

    // In its own height: the middle, pixel for pixel.
    const Bitmap square = backgroundOf(url, 120, 120);
    for (int y = 0; y < 120; ++y) {
        ASSERT_EQ(0, std::memcmp(square.view().row(y), pattern.view().pixel(60, y), 120 * 4)) << y;
    }
    // A quarter of its size and wider than it: what a pixel covers is averaged, top and bottom are cut off.
    const Bitmap wide = backgroundOf(url, 60, 20);
    for (int y = 0; y < 20; ++y) {
        for (int x = 0; x < 60; ++x) {
            const std::uint8_t* p = wide.view().pixel(x, y);
            EXPECT_NEAR(p[0], (4 * x + 1.5) * 255 / 240, 1.5) << x << ", " << y;
            EXPECT_NEAR(p[1], (4 * y + 20 + 1.5) * 255 / 120, 1.5) << x << ", " << y;
            EXPECT_NEAR(p[2], 150, 1) << x << ", " << y;
            EXPECT_EQ(p[3], 255);
        }
    }
    // Enlarged.
    const Bitmap large = backgroundOf(url, 480, 240);
    EXPECT_NEAR(large.view().pixel(240, 120)[0], 127, 2);
    EXPECT_NEAR(large.view().pixel(240, 120)[1], 127, 2);
}

TEST(CanvasBackground, AspectFillKeepsTheMiddle) {
    EXPECT_EQ(aspectFillRect({200, 100}, {{10, 20}, {50, 50}}), (CGRect{{-15, 20}, {100, 50}}));
    EXPECT_EQ(aspectFillRect({100, 200}, {{0, 0}, {50, 50}}), (CGRect{{0, -25}, {50, 100}}));
    EXPECT_EQ(aspectFillRect({16, 9}, {{0, 0}, {1920, 1080}}), (CGRect{{0, 0}, {1920, 1080}}));
}

TEST(CanvasBackground, KeepsWhatItReadUntilItIsToldToForget) {
    const test::TemporaryDirectory directory;
    const URL url = directory.file("picture.bmp");
    CanvasBackground background;
    const auto layer = [&](CGSize size) {
        return background.backgroundLayer(CanvasBackgroundStyle::macOSWallpaper, url.string(), size);
    };
    // What isn't there isn't looked for on each frame.
    expectPlain(layer({16, 9}), 23, 26, 33);
    writeBytes(url, whiteBMP(40, 30, true));
    expectPlain(layer({16, 9}), 23, 26, 33);
    background.removeCachedLayers();
    expectPlain(layer({16, 9}), 255, 255, 255);
    // The source picture serves another size too.
    std::filesystem::remove(url.path());
    expectPlain(layer({9, 16}), 255, 255, 255);
    EXPECT_EQ(layer({16, 9}).view().data, layer({16, 9}).view().data);
    background.removeCachedLayers();
    expectPlain(layer({9, 16}), 23, 26, 33);
}

TEST(CanvasBackground, ManyThreadsGetTheOneLayer) {
    CanvasBackground background;
    std::vector<std::future<std::uint8_t*>> layers;
    for (int i = 0; i < 8; ++i) {
        layers.push_back(std::async(std::launch::async, [&] {
            return background.backgroundLayer(CanvasBackgroundStyle::macOSWallpaper, "", {320, 180})
                .view()
                .data;
        }));
    }
    std::set<const std::uint8_t*> distinct;
    for (auto& layer : layers) distinct.insert(layer.get());
    EXPECT_EQ(distinct.size(), 1U);
}

TEST(CanvasBackground, EveryWallpaperOnOfferIsThere) {
    EXPECT_EQ(wallpaperImages().size(), 25U);
    EXPECT_EQ(wallpaperGradients().size(), 10U);
    std::set<std::string> seen;
    for (const auto& options : {wallpaperImages(), wallpaperGradients()}) {
        for (const MacOSWallpaperOption& option : options) {
            const auto preview = wallpaperPreview(std::string(option.path), 38, 38, 2);
            ASSERT_TRUE(preview) << option.path;
            EXPECT_EQ(preview->width(), 76);
            EXPECT_EQ(preview->height(), 76);
            std::string pixels;
            for (int y = 0; y < 76; ++y) {
                pixels.append(reinterpret_cast<const char*>(preview->view().row(y)), 76 * 4);
            }
            EXPECT_TRUE(seen.insert(pixels).second) << option.path;
            // Asked for again, it is the same one.
            EXPECT_EQ(wallpaperPreview(std::string(option.path), 38, 38, 2)->view().data,
                      preview->view().data);
        }
    }
    // No path means the default one.
    CanvasBackground background;
    const auto style = CanvasBackgroundStyle::macOSWallpaper;
    const Bitmap byDefault = background.backgroundLayer(style, "", {64, 36});
    const Bitmap named = background.backgroundLayer(style, "asset://wallpapers/sequoia-blue.jpg", {64, 36});
    for (int y = 0; y < 36; ++y)
        EXPECT_EQ(0, std::memcmp(byDefault.view().row(y), named.view().row(y), 64 * 4));
}

TEST(CanvasBackground, GradientsShowTheirColoursAndAreRepeatable) {
    std::set<std::array<double, 3>> centres;
    for (const MacOSWallpaperOption& option : wallpaperGradients()) {
        const std::string_view key = option.path.substr(kGradientScheme.size());
        const auto picture = paintGradient(key, 320, 180);
        ASSERT_TRUE(picture) << key;
        centres.insert(pixelAt(*picture, 0.5, 0.5));
        const auto again = paintGradient(key, 320, 180);
        for (int y = 0; y < 180; ++y) {
            ASSERT_EQ(0, std::memcmp(picture->view().row(y), again->view().row(y), 320 * 4));
        }
        // The corners are darker than where the light stands.
        const auto corner = pixelAt(*picture, 0.001, 0.001);
        const auto light = pixelAt(*picture, 0.57, 0.58);
        EXPECT_LT(corner[0] + corner[1] + corner[2], light[0] + light[1] + light[2]) << key;
    }
    EXPECT_EQ(centres.size(), 10U);
    // Where only the first blob's core lies, its colour rules, lightened by what is screened onto it.
    const auto berry = pixelAt(*paintGradient("berry", 640, 360), 0.13, 0.24);
    EXPECT_GT(berry[0], 200);
    EXPECT_LT(berry[1], 120);
}

/// A colour with its alpha, premultiplied: red, green, blue, alpha.
using Color = std::array<double, 4>;

Color mixed(const Color& a, const Color& b, double t) {
    Color result{};
    for (std::size_t i = 0; i < 4; ++i) result[i] = (1 - t) * a[i] + t * b[i];
    return result;
}

/// What a radial gradient from `inner` to `outer` shows at a distance from its centre.
Color radial(double distance, double radius0, double radius1, const Color& inner, const Color& outer) {
    return mixed(inner, outer, std::clamp((distance - radius0) / (radius1 - radius0), 0.0, 1.0));
}

Color screened(const Color& top, const Color& below) {
    Color result{};
    for (std::size_t i = 0; i < 4; ++i) result[i] = top[i] + below[i] - top[i] * below[i];
    return result;
}

/// The gradient "tropical" without its grain, computed directly: `pixels[y][x]`, y upwards.
class DirectGradient {
public:
    static constexpr int kWidth = 64;
    static constexpr int kHeight = 36;

    DirectGradient() {
        for (int y = 0; y < kHeight; ++y) {
            for (int x = 0; x < kWidth; ++x) at(x, y) = lit(x + 0.5, y + 0.5);
        }
        const std::vector<Color> blurred = blur();
        for (int y = 0; y < kHeight; ++y) {
            for (int x = 0; x < kWidth; ++x) {
                Color glow = blurred[index(x, y)];
                for (std::size_t i = 0; i < 3; ++i) glow[i] *= 0.13;
                glow[3] = 0;
                at(x, y) = screened(glow, at(x, y));
                const double distance = std::hypot(x + 0.5 - kWidth / 2.0, y + 0.5 - 0.52 * kHeight);
                const Color vignette =
                    radial(distance, 0.32 * kWidth, 0.94 * kWidth, {1, 1, 1, 1}, {0.16, 0.16, 0.2, 1});
                for (std::size_t i = 0; i < 3; ++i) at(x, y)[i] *= vignette[i];
            }
        }
    }
    Color& at(int x, int y) { return pixels_[index(x, y)]; }

private:
    static std::size_t index(int x, int y) { return static_cast<std::size_t>(y * kWidth + x); }

    /// Base, blobs and highlight.
    static Color lit(double x, double y) {
        const std::array<Color, 3> colors{
            Color{0.0, 0.85, 0.95, 1}, {0.95, 0.85, 0.0, 1}, {1.0, 0.45, 0.0, 1}};
        struct Blob {
            double x, y, radius, core;
        };
        const std::array<Blob, 3> blobs{
            Blob{0.13, 0.24, 0.46, 0.11}, {0.88, 0.18, 0.40, 0.13}, {0.76, 0.80, 0.52, 0.15}};
        const double x0 = 0.04 * kWidth;
        const double y0 = 0.07 * kHeight;
        const double dx = 0.97 * kWidth - x0;
        const double dy = 0.94 * kHeight - y0;
        const double t = std::clamp(((x - x0) * dx + (y - y0) * dy) / (dx * dx + dy * dy), 0.0, 1.0);
        const Color& last = colors[2];
        const Color dark{last[0] * 0.42, last[1] * 0.42, last[2] * 0.42, 1};
        Color color = mixed(dark, mixed(colors[0], last, 0.38), t);
        for (std::size_t i = 0; i < 3; ++i) {
            const double radius = blobs[i].radius * kWidth;
            const double distance = std::hypot(x - blobs[i].x * kWidth, y - blobs[i].y * kHeight);
            const Color blob =
                radial(distance, radius * blobs[i].core, radius, mixed(colors[i], colors[0], 0.12), {});
            for (std::size_t c = 0; c < 4; ++c) color[c] = blob[c] + (1 - blob[3]) * color[c];
        }
        // Of the three, the second is the brightest.
        const double distance = std::hypot(x - 0.57 * kWidth, y - 0.58 * kHeight);
        return screened(
            radial(distance, 0.06 * kHeight, 0.55 * kWidth, mixed(colors[1], {1, 1, 1, 1}, 0.22), {}), color);
    }

    [[nodiscard]] std::vector<Color> blur() const {
        constexpr double sigma = 0.1 * kWidth;
        const auto along = [](const std::vector<Color>& from, bool isHorizontal) {
            std::vector<Color> to(from.size());
            for (int y = 0; y < kHeight; ++y) {
                for (int x = 0; x < kWidth; ++x) {
                    double weights = 0;
                    Color sum{};
                    for (int d = -40; d <= 40; ++d) {
                        const double weight = std::exp(-d * d / (2 * sigma * sigma));
                        const int sx = isHorizontal ? std::clamp(x + d, 0, kWidth - 1) : x;
                        const int sy = isHorizontal ? y : std::clamp(y + d, 0, kHeight - 1);
                        for (std::size_t i = 0; i < 4; ++i) sum[i] += weight * from[index(sx, sy)][i];
                        weights += weight;
                    }
                    for (std::size_t i = 0; i < 4; ++i) to[index(x, y)][i] = sum[i] / weights;
                }
            }
            return to;
        };
        return along(along(pixels_, true), false);
    }

    std::vector<Color> pixels_ = std::vector<Color>(kWidth * kHeight);
};

TEST(CanvasBackground, GradientFollowsItsRecipe) {
    const auto picture = paintGradient("tropical", DirectGradient::kWidth, DirectGradient::kHeight);
    ASSERT_TRUE(picture);
    DirectGradient expected;
    double largest = 0;
    for (int y = 0; y < DirectGradient::kHeight; ++y) {
        for (int x = 0; x < DirectGradient::kWidth; ++x) {
            const std::uint8_t* p = picture->view().pixel(x, DirectGradient::kHeight - 1 - y);
            for (std::size_t i = 0; i < 3; ++i) {
                // The grain leaves between 0.9973 and 1.0027 of it.
                const double difference = std::abs(p[2 - i] - 255 * std::min(expected.at(x, y)[i], 1.0));
                largest = std::max(largest, difference);
            }
        }
    }
    EXPECT_LE(largest, 255 * 0.0027 + 1.3) << "rounding, and the blur's approximation";
}

TEST(CanvasBackground, ScalesWithTheCanvas) {
    const auto small = paintGradient("prism", 320, 180);
    const auto large = paintGradient("prism", 960, 540);
    for (const double x : {0.1, 0.4, 0.7, 0.95}) {
        for (const double y : {0.1, 0.5, 0.9}) {
            const auto a = pixelAt(*small, x, y);
            const auto b = pixelAt(*large, x, y);
            for (std::size_t k = 0; k < 3; ++k) EXPECT_NEAR(a.at(k), b.at(k), 6) << x << ", " << y;
        }
    }
}

}  // namespace
}  // namespace varnelle
