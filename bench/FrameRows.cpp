extern "C" {
#include <libswscale/swscale.h>
}

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <memory>
#include <random>

#include "Measure.h"
#include "render/FramePainter.h"
#include "render/FramePlan.h"

namespace varnelle::bench {
namespace {

/// Something like a screen: flat areas, edges, text-like noise.
VideoFrame screenPicture(int width, int height) {
    VideoFrame frame =
        VideoFrame::allocate(PixelFormat::i420, width, height, ColorDescription::bt709Limited());
    std::mt19937 random(1);
    for (std::size_t p = 0; p < 3; ++p) {
        const int w = p == 0 ? width : width / 2;
        const int h = p == 0 ? height : height / 2;
        for (int y = 0; y < h; ++y) {
            std::uint8_t* row = frame.plane(p).data + y * frame.plane(p).bytesPerRow;
            for (int x = 0; x < w; ++x) {
                const bool isText = (x / 64 + y / 32) % 3 == 0;
                row[x] = static_cast<std::uint8_t>(isText ? 16 + random() % 220 : 60 + x / 16 + y / 16);
            }
        }
    }
    return frame;
}

struct ScalerDeleter {
    void operator()(SwsContext* context) const { sws_freeContext(context); }
};

/// swscale's bilinear conversion of the part of the picture that is seen to where it is seen, on one thread.
class ReferenceScaler {
public:
    ReferenceScaler(const VideoFrame& source, const FramePlan& plan, VideoFrame output)
        : source_(source), output_(std::move(output)) {
        const CGRect canvas{{0, 0}, plan.canvas};
        const CGRect seen = plan.screenRect.intersection(canvas);
        const double scaleX = source.width() / plan.screenRect.width();
        const double scaleY = source.height() / plan.screenRect.height();
        sourceX_ = even((seen.minX() - plan.screenRect.minX()) * scaleX);
        sourceY_ = even((plan.screenRect.maxY() - seen.maxY()) * scaleY);
        sourceWidth_ = even(seen.width() * scaleX);
        sourceHeight_ = even(seen.height() * scaleY);
        left_ = static_cast<int>(std::lround(seen.minX()));
        top_ = static_cast<int>(std::lround(plan.canvas.height - seen.maxY()));
        context_.reset(sws_getContext(sourceWidth_, sourceHeight_, AV_PIX_FMT_YUV420P,
                                      static_cast<int>(std::lround(seen.width())),
                                      static_cast<int>(std::lround(seen.height())), AV_PIX_FMT_BGRA,
                                      SWS_BILINEAR, nullptr, nullptr, nullptr));
    }

    void run() {
        const std::uint8_t* planes[4] = {
            source_.plane(0).data + sourceY_ * source_.plane(0).bytesPerRow + sourceX_,
            source_.plane(1).data + sourceY_ / 2 * source_.plane(1).bytesPerRow + sourceX_ / 2,
            source_.plane(2).data + sourceY_ / 2 * source_.plane(2).bytesPerRow + sourceX_ / 2, nullptr};
        const int strides[4] = {static_cast<int>(source_.plane(0).bytesPerRow),
                                static_cast<int>(source_.plane(1).bytesPerRow),
                                static_cast<int>(source_.plane(2).bytesPerRow), 0};
        std::uint8_t* outputs[4] = {
            output_.plane(0).data + top_ * output_.plane(0).bytesPerRow + std::ptrdiff_t{4} * left_, nullptr,
            nullptr, nullptr};
        const int outputStrides[4] = {static_cast<int>(output_.plane(0).bytesPerRow), 0, 0, 0};
        sws_scale(context_.get(), planes, strides, 0, sourceHeight_, outputs, outputStrides);
    }

private:
    static int even(double x) { return static_cast<int>(std::lround(x)) / 2 * 2; }

    VideoFrame source_;
    VideoFrame output_;
    int sourceX_ = 0, sourceY_ = 0, sourceWidth_ = 0, sourceHeight_ = 0, left_ = 0, top_ = 0;
    std::unique_ptr<SwsContext, ScalerDeleter> context_;
};

FramePlan planOf(CGSize canvas, double zoomProgress) {
    OverlayConfiguration look;
    look.wallpaperPath = "procedural://gradient/digital_ocean";
    const double scale = canvas.width / 1920;
    look.canvasPadding *= scale;
    look.canvasCornerRadius *= scale;
    look.canvasShadowRadius *= scale;
    FramePlanInput input;
    input.canvas = canvas;
    input.sourceSize = canvas;
    input.configuration = &look;
    input.cursorState.visibility = CursorVisibility::visible;
    input.cursorState.position = {0.4, 0.6};
    input.cursorState.clickScale = 1;
    input.captureRegion = {0, 0, 1920, 1080};
    if (zoomProgress > 0) {
        input.zoomPanState.isEmpty = false;
        input.zoomPanState.phase = ZoomPanPhase::entering;
        input.zoomPanState.progress = zoomProgress;
        input.snapshot = SmoothingCameraSnapshot{{0.3, 0.6}, 1.6};
    }
    return makeFramePlan(input);
}

Row frameRow(const std::string& name, CGSize canvas, double zoomProgress, double target) {
    const VideoFrame source = screenPicture(static_cast<int>(canvas.width), static_cast<int>(canvas.height));
    const FramePlan plan = planOf(canvas, zoomProgress);
    const VideoFrame output =
        VideoFrame::allocate(PixelFormat::bgra, source.width(), source.height(), ColorDescription::sRGB());
    const BitmapView view{output.plane(0).data, output.plane(0).bytesPerRow, output.width(), output.height()};
    FramePainter painter;
    ReferenceScaler reference(source, plan, output);
    const Medians medians = measureByTurns(
        60, [&] { painter.paint(plan, source, {}, view); }, [&] { reference.run(); });
    return {name, medians.ours, medians.theirs, "ms", target};
}

}  // namespace

std::vector<NamedRow> frameRows() {
    constexpr CGSize hd{1920, 1080};
    constexpr CGSize uhd{3840, 2160};
    const auto row = [](const std::string& name, CGSize canvas, double progress, double target) {
        return NamedRow{name, [=] { return frameRow(name, canvas, progress, target); }};
    };
    return {row("still frame 1080p", hd, 0, 1.0), row("zooming frame 1080p", hd, 0.3, 2.0),
            row("still frame 2160p", uhd, 0, 1.0), row("zooming frame 2160p", uhd, 0.3, 2.0)};
}

}  // namespace varnelle::bench
