#include <gtest/gtest.h>

#include <cmath>
#include <random>
#include <vector>

#include "render/CustomVideoCompositor.h"
#include "render/FramePainter.h"
#include "support/SampleProject.h"
#include "support/Telemetry.h"

namespace varnelle {
namespace {

/// A picture of one channel, row by row, 0 to 255.
struct GreyPicture {
    GreyPicture(int widthPixels, int heightPixels, double value = 0)
        : width(widthPixels),
          height(heightPixels),
          values(static_cast<std::size_t>(widthPixels) * static_cast<std::size_t>(heightPixels), value) {}

    [[nodiscard]] double& at(int x, int y) {
        return values[static_cast<std::size_t>(y) * static_cast<std::size_t>(width) +
                      static_cast<std::size_t>(x)];
    }
    [[nodiscard]] double at(int x, int y) const { return const_cast<GreyPicture*>(this)->at(x, y); }
    [[nodiscard]] double clampedAt(int x, int y) const {
        return at(std::clamp(x, 0, width - 1), std::clamp(y, 0, height - 1));
    }

    int width;
    int height;
    std::vector<double> values;
};

VideoFrame frameOf(const GreyPicture& picture) {
    VideoFrame frame =
        VideoFrame::allocate(PixelFormat::bgra, picture.width, picture.height, ColorDescription::sRGB());
    for (int y = 0; y < picture.height; ++y) {
        for (int x = 0; x < picture.width; ++x) {
            std::uint8_t* pixel = frame.plane(0).data + y * frame.plane(0).bytesPerRow + 4 * x;
            std::fill_n(pixel, 3, static_cast<std::uint8_t>(std::lround(picture.at(x, y))));
            pixel[3] = 255;
        }
    }
    return frame;
}

Bitmap painted(const FramePlan& plan, const VideoFrame& screen) {
    Bitmap output(static_cast<int>(plan.canvas.width), static_cast<int>(plan.canvas.height));
    FramePainter().paint(plan, screen, {}, output.view());
    return output;
}

/// Something like dark text on light ground: cells of a few strokes, two pixels wide and antialiased.
GreyPicture textPicture(int width, int height) {
    GreyPicture picture(width, height, 250);
    std::mt19937 random(11);
    const auto uniform = [&](double low, double high) {
        return std::uniform_real_distribution<double>(low, high)(random);
    };
    constexpr int cellWidth = 14;
    constexpr int cellHeight = 32;
    for (int top = 8; top + cellHeight < height; top += cellHeight) {
        for (int left = 8; left + cellWidth < width; left += cellWidth) {
            if (uniform(0, 1) < 0.15) continue;  // between words
            for (int stroke = 0; stroke < 3; ++stroke) {
                const CGPoint from{left + uniform(2, 12), top + uniform(4, 22)};
                const bool isUpright = uniform(0, 1) < 0.6;
                const CGPoint to{isUpright ? from.x : left + uniform(2, 12), top + uniform(4, 22)};
                const double length = std::max(std::hypot(to.x - from.x, to.y - from.y), 0.01);
                for (int y = top; y < top + cellHeight; ++y) {
                    for (int x = left; x < left + cellWidth; ++x) {
                        const CGPoint p{x + 0.5 - from.x, y + 0.5 - from.y};
                        const double along =
                            std::clamp((p.x * (to.x - from.x) + p.y * (to.y - from.y)) / length, 0.0, length);
                        const double distance = std::hypot(p.x - along * (to.x - from.x) / length,
                                                           p.y - along * (to.y - from.y) / length);
                        const double ink = std::clamp(1.5 - distance, 0.0, 1.0);
                        picture.at(x, y) = std::min(picture.at(x, y), 250 - 220 * ink);
                    }
                }
            }
        }
    }
    return picture;
}

/// The mean of the source area under each output pixel.
GreyPicture areaReduced(const GreyPicture& source, int width, int height) {
    GreyPicture result(width, height);
    const double scaleX = static_cast<double>(source.width) / width;
    const double scaleY = static_cast<double>(source.height) / height;
    for (int y = 0; y < height; ++y) {
        for (int x = 0; x < width; ++x) {
            double sum = 0;
            for (int sy = static_cast<int>(y * scaleY); sy < (y + 1) * scaleY; ++sy) {
                const double rows =
                    std::min<double>(sy + 1, (y + 1) * scaleY) - std::max<double>(sy, y * scaleY);
                for (int sx = static_cast<int>(x * scaleX); sx < (x + 1) * scaleX; ++sx) {
                    const double columns =
                        std::min<double>(sx + 1, (x + 1) * scaleX) - std::max<double>(sx, x * scaleX);
                    sum += rows * columns * source.clampedAt(sx, sy);
                }
            }
            result.at(x, y) = sum / (scaleX * scaleY);
        }
    }
    return result;
}

/// Structural similarity (Wang et al., "Image quality assessment: from error visibility to structural
/// similarity", 2004), the mean over windows of 8 by 8.
double structuralSimilarity(const GreyPicture& a, const GreyPicture& b) {
    constexpr int side = 8;
    constexpr double c1 = 0.01 * 255 * 0.01 * 255;
    constexpr double c2 = 0.03 * 255 * 0.03 * 255;
    double total = 0;
    int count = 0;
    for (int top = 0; top + side <= a.height; top += side / 2) {
        for (int left = 0; left + side <= a.width; left += side / 2) {
            double sumA = 0, sumB = 0, sumAA = 0, sumBB = 0, sumAB = 0;
            for (int y = top; y < top + side; ++y) {
                for (int x = left; x < left + side; ++x) {
                    sumA += a.at(x, y);
                    sumB += b.at(x, y);
                    sumAA += a.at(x, y) * a.at(x, y);
                    sumBB += b.at(x, y) * b.at(x, y);
                    sumAB += a.at(x, y) * b.at(x, y);
                }
            }
            constexpr double n = side * side;
            const double meanA = sumA / n;
            const double meanB = sumB / n;
            const double varianceA = sumAA / n - meanA * meanA;
            const double varianceB = sumBB / n - meanB * meanB;
            const double covariance = sumAB / n - meanA * meanB;
            total += (2 * meanA * meanB + c1) * (2 * covariance + c2) /
                     ((meanA * meanA + meanB * meanB + c1) * (varianceA + varianceB + c2));
            ++count;
        }
    }
    return total / count;
}

TEST(PictureQuality, ShrunkTextIsAsLegibleAsAnAreaReduction) {
    const GreyPicture text = textPicture(2560, 1440);
    const VideoFrame screen = frameOf(text);
    // To a whole canvas, and into the paddings of a canvas.
    for (const CGSize& size : {CGSize{1280, 720}, CGSize{1920, 1080}, CGSize{1664, 936}, CGSize{1024, 576}}) {
        FramePlan plan;
        plan.canvas = size;
        plan.screenRect = {{0, 0}, size};
        const Bitmap output = painted(plan, screen);
        GreyPicture ours(output.width(), output.height());
        for (int y = 0; y < ours.height; ++y) {
            for (int x = 0; x < ours.width; ++x) ours.at(x, y) = output.view().pixel(x, y)[1];
        }
        EXPECT_GE(structuralSimilarity(ours, areaReduced(text, ours.width, ours.height)), 0.98) << size.width;
    }
}

/// A still screen with a zoom range from 1 to 8 s, where the pointer wanders
/// slowly.
std::shared_ptr<OverlayVideoCompositionInstruction> slowZoom() {
    auto recording = std::make_shared<CursorRecording>(test::pointerPath(10, [](double t) {
        return CGPoint{0.35 + 0.01 * t, 0.6 - 0.008 * t};
    }));
    OverlayConfiguration look;
    look.canvasBackgroundStyle = CanvasBackgroundStyle::none;
    look.cursor.showsCursor = false;
    OverlayVideoCompositionInstruction::Contents contents;
    contents.screenTrackID = 1;
    contents.overlayController = std::make_shared<OverlayConfigurationController>(look);
    contents.zoomPanClipsController =
        std::make_shared<ZoomPanClipsController>(std::vector{test::rangeOfSeconds(1, 7)});
    contents.cursorRecording = recording;
    contents.smoothingCamera = std::make_shared<SmoothingCamera>(
        SmoothingCamera::buildSamples(*recording, kCameraFrameRate, kCameraWindowSeconds));
    return std::make_shared<OverlayVideoCompositionInstruction>(std::move(contents));
}

/// Where the light half of a row of the picture begins, in pixels: the dark ones counted, with fractions.
double edgeIn(const Bitmap& picture, int row, int from, int to) {
    double dark = 0;
    for (int x = from; x < to; ++x) dark += 1 - (picture.view().pixel(x, row)[1] - 20) / 200.0;
    return from + dark;
}

TEST(PictureQuality, EdgesMoveAsSmoothlyAsTheArithmetic) {
    const auto instruction = slowZoom();
    constexpr int sourceWidth = 1280;
    constexpr int edgeColumn = 448;
    GreyPicture picture(sourceWidth, 720, 220);
    for (int y = 0; y < picture.height; ++y) {
        for (int x = 0; x < edgeColumn; ++x) picture.at(x, y) = 20;
    }
    const VideoFrame screen = frameOf(picture);
    double previous = 0;
    double previousStep = 0;
    for (int frame = 0; frame < 60 * 8; ++frame) {
        const FramePlan plan =
            planFrame(*instruction, CMTime::make(frame, 60), {1280, 720}, {960, 540}, false);
        const double expected = plan.screenRect.minX() + plan.screenRect.width() * edgeColumn / sourceWidth;
        ASSERT_GT(expected, 20);
        const int from = static_cast<int>(expected) - 10;
        const double edge = edgeIn(painted(plan, screen), 270, from, from + 20);
        ASSERT_NEAR(edge, expected, 0.1) << "frame " << frame;
        // No reversal within a ramp, and no step that leaps out of its neighbours.
        const double step = edge - previous;
        if (frame > 61 && frame < 60 + 50) {
            EXPECT_GE(step * previousStep, -0.01) << "frame " << frame;
            EXPECT_LT(std::abs(step - previousStep), 1.0) << "frame " << frame;
        }
        previous = edge;
        previousStep = step;
    }
}

}  // namespace
}  // namespace varnelle
