#include <gtest/gtest.h>

#include <cmath>
#include <cstdlib>

#include "imaging/PNG.h"
#include "render/FramePainter.h"

namespace varnelle {
namespace {

constexpr CGSize kCanvas{480, 270};

struct Pixel {
    double red, green, blue;
};

Pixel mixed(const Pixel& a, const Pixel& b, double share) {
    return {a.red + share * (b.red - a.red), a.green + share * (b.green - a.green),
            a.blue + share * (b.blue - a.blue)};
}

template <typename Paint>
VideoFrame framePaintedBy(int width, int height, const Paint& paint) {
    VideoFrame frame = VideoFrame::allocate(PixelFormat::bgra, width, height, ColorDescription::sRGB());
    for (int y = 0; y < height; ++y) {
        for (int x = 0; x < width; ++x) {
            const Pixel color = paint(x, y);
            std::uint8_t* pixel = frame.plane(0).data + y * frame.plane(0).bytesPerRow + 4 * x;
            pixel[0] = static_cast<std::uint8_t>(std::lround(color.blue));
            pixel[1] = static_cast<std::uint8_t>(std::lround(color.green));
            pixel[2] = static_cast<std::uint8_t>(std::lround(color.red));
            pixel[3] = 255;
        }
    }
    return frame;
}

/// A code editor: title bar, file list, lines of code in several colours.
VideoFrame editorWindow() {
    const Pixel ground{30, 32, 44};
    const Pixel panel{24, 25, 35};
    const std::array<Pixel, 5> inks = {Pixel{198, 120, 221}, Pixel{97, 175, 239}, Pixel{152, 195, 121},
                                       Pixel{229, 192, 123}, Pixel{171, 178, 191}};
    return framePaintedBy(960, 540, [&](int x, int y) {
        if (y < 36) {
            for (int button = 0; button < 3; ++button) {
                const double distance = std::hypot(x - 24 - 22 * button, y - 18);
                const std::array<Pixel, 3> lights = {Pixel{255, 95, 86}, Pixel{255, 189, 46},
                                                     Pixel{39, 201, 63}};
                if (distance < 7.5)
                    return mixed(lights.at(static_cast<std::size_t>(button)), panel,
                                 std::clamp(distance - 6.5, 0.0, 1.0));
            }
            return panel;
        }
        const bool isList = x < 200;
        const int line = (y - 48) / 20;
        const int seed = (line * 7919 + (isList ? 3 : 0)) % 1009;
        const int column = (x - (isList ? 24 : 240 + 24 * (seed % 4))) / 9;
        const bool isInk = y >= 48 && (y - 48) % 20 < 9 && (x % 9) < 7 && column >= 0 &&
                           column < 8 + seed % (isList ? 8 : 40) && (column * 31 + seed) % 7 != 0;
        if (isInk)
            return isList ? Pixel{120, 126, 145} : inks.at(static_cast<std::size_t>((column / 6 + seed) % 5));
        return isList ? panel : ground;
    });
}

/// Someone before a warm wall.
VideoFrame cameraPicture() {
    return framePaintedBy(320, 180, [](int x, int y) {
        const Pixel wall = mixed({236, 200, 160}, {140, 92, 84}, std::hypot(x - 60.0, y - 20.0) / 320);
        const double head = std::hypot((x - 165) / 34.0, (y - 74) / 42.0);
        const double shoulders = std::hypot((x - 165) / 92.0, (y - 190) / 74.0);
        const auto covers = [](double distance) { return std::clamp((1 - distance) * 24, 0.0, 1.0); };
        const Pixel dressed = mixed(wall, {52, 78, 120}, covers(shoulders));
        return mixed(dressed, mixed({226, 172, 140}, {170, 110, 90}, (x - 130) / 80.0), covers(head));
    });
}

/// How far two pictures are apart, over all channels.
struct Distance {
    double mean = 0;
    int largest = 0;
};

Distance distanceBetween(const Bitmap& a, const Bitmap& b, const Bitmap& difference) {
    Distance distance;
    for (int y = 0; y < a.height(); ++y) {
        for (int i = 0; i < a.width() * 4; ++i) {
            const int apart = std::abs(a.view().row(y)[i] - b.view().row(y)[i]);
            difference.view().row(y)[i] =
                static_cast<std::uint8_t>(i % 4 == 3 ? 255 : std::min(apart * 8, 255));
            distance.mean += apart;
            distance.largest = std::max(distance.largest, apart);
        }
    }
    distance.mean /= a.width() * a.height() * 4;
    return distance;
}

/// One whole frame of each kind, compared with pictures that were looked at. VARNELLE_ACCEPT_PICTURES=1 takes
/// what is drawn now as the new references.
class ReferencePicture : public ::testing::Test {
protected:
    ReferencePicture() {
        look.wallpaperPath = "procedural://gradient/digital_ocean";
        look.canvasPadding = 26;
        look.canvasCornerRadius = 8;
        look.canvasShadowRadius = 9;
        look.canvasShadowOpacity = 0.5;
        look.overlayShadowRadius = 8;
        look.relativeSize = 0.2;
        look.padding = 14;
        look.cursor.size = 2.2;
        input.canvas = kCanvas;
        input.sourceSize = {960, 540};
        input.configuration = &look;
        input.cursorState.visibility = CursorVisibility::visible;
        input.cursorState.position = {0.55, 0.52};
        input.cursorState.clickScale = 1;
        input.captureRegion = {0, 0, 960, 540};
    }

    void zoom(ZoomPanPhase phase, double progress) {
        input.zoomPanState.isEmpty = false;
        input.zoomPanState.phase = phase;
        input.zoomPanState.progress = progress;
        input.snapshot = SmoothingCameraSnapshot{{0.5, 0.6}, 2.1};
    }

    void expectPicture(const std::string& name) {
        const FramePlan plan = makeFramePlan(input);
        const Bitmap picture(static_cast<int>(kCanvas.width), static_cast<int>(kCanvas.height));
        FramePainter().paint(plan, editorWindow(), cameraPicture(), picture.view());
        const URL reference = URL(VARNELLE_REFERENCE_PICTURES).appending(name + ".png");
        if (std::getenv("VARNELLE_ACCEPT_PICTURES") != nullptr) return writePNG(picture.view(), reference);

        const Bitmap expected = readPNG(reference);
        ASSERT_EQ(expected.width(), picture.width());
        const Bitmap difference(picture.width(), picture.height());
        const Distance distance = distanceBetween(picture, expected, difference);
        // Room for other compilers' and processors' arithmetic, not for another picture.
        if (distance.mean <= 0.05 && distance.largest <= 3) return;
        const URL actualURL(std::filesystem::current_path() / (name + "-actual.png"));
        const URL differenceURL(std::filesystem::current_path() / (name + "-difference.png"));
        writePNG(picture.view(), actualURL);
        writePNG(difference.view(), differenceURL);
        ADD_FAILURE() << name << " is off by " << distance.mean << " in the mean and " << distance.largest
                      << " at most. See " << actualURL.string() << " and " << differenceURL.string()
                      << "; VARNELLE_ACCEPT_PICTURES=1 accepts what is drawn now.";
    }

    OverlayConfiguration look;
    FramePlanInput input;
};

TEST_F(ReferencePicture, PlainCanvas) {
    look.canvasBackgroundStyle = CanvasBackgroundStyle::none;
    expectPicture("none");
}

TEST_F(ReferencePicture, Wallpaper) {
    if (VARNELLE_WALLPAPER_WIDTH != 3840) GTEST_SKIP() << "this build paints small wallpapers";
    look.wallpaperPath = "";
    expectPicture("wallpaper");
}

TEST_F(ReferencePicture, Gradient) {
    expectPicture("gradient");
}

TEST_F(ReferencePicture, ZoomingInHoldingAndZoomingOut) {
    zoom(ZoomPanPhase::entering, 0.35);
    expectPicture("zoom_in");
    zoom(ZoomPanPhase::holding, 1);
    expectPicture("hold");
    zoom(ZoomPanPhase::leaving, 0.6);
    expectPicture("zoom_out");
}

TEST_F(ReferencePicture, BubbleOfEachShape) {
    input.hasCameraFrame = true;
    look.maskType = OverlayMaskType::circle;
    expectPicture("bubble_circle");
    look.maskType = OverlayMaskType::roundedRectangle;
    look.anchor = OverlayAnchor::topRight;
    look.isMirrored = true;
    expectPicture("bubble_rounded");
    look.maskType = OverlayMaskType::square;
    look.position = CGPoint{0.5, 0.35};
    zoom(ZoomPanPhase::holding, 1);
    expectPicture("bubble_square");
}

TEST_F(ReferencePicture, PointerShapes) {
    look.wallpaperPath = "procedural://gradient/peach";
    look.cursor.size = 5;
    input.cursorState.shape = CursorShape::pointingHand;
    expectPicture("pointer_hand");
    input.cursorState.shape = CursorShape::iBeam;
    input.cursorState.clickScale = 0.8;
    expectPicture("pointer_text");
}

}  // namespace
}  // namespace varnelle
