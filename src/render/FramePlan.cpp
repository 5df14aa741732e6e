#include "render/FramePlan.h"

#include <algorithm>
#include <cmath>

namespace varnelle {
namespace {

constexpr double kLeastZoom = 1.6;
constexpr double kNegligible = 0.00001;
constexpr double kLeastShadow = 0.001;
constexpr double kLargestInsetShare = 0.45;

bool isUsable(const CGRect& rect) {
    return std::isfinite(rect.width()) && std::isfinite(rect.height()) && rect.width() > 1 &&
           rect.height() > 1;
}

CGRect canvasRect(CGSize canvas) {
    return {{0, 0}, canvas};
}

CGRect interpolated(const CGRect& a, const CGRect& b, double f) {
    return {{a.origin.x + f * (b.origin.x - a.origin.x), a.origin.y + f * (b.origin.y - a.origin.y)},
            {a.size.width + f * (b.size.width - a.size.width),
             a.size.height + f * (b.size.height - a.size.height)}};
}

/// Moves the screen alone so that the canvas shows the camera's view; the background stays as it is. Tells
/// whether anything moved.
bool applyZoom(FramePlan& plan, double& shadowRadius, const FramePlanInput& input) {
    const double progress = input.zoomPanState.progress;
    if (input.configuration->cursor.zoomAndPanDisabled || progress <= kNegligible || !input.snapshot ||
        input.zoomPanState.phase == ZoomPanPhase::outside) {
        return false;
    }
    const CGRect canvas = canvasRect(input.canvas);
    const CGRect view =
        interpolated(canvas, cameraViewRect(*input.snapshot, plan.screenRect, input.canvas), progress);
    if (!isUsable(view) || !isUsable(canvas) || !isUsable(plan.screenRect)) return false;
    const CGRect upright = view.standardized();
    if (upright.width() >= canvas.width() - kNegligible && upright.height() >= canvas.height() - kNegligible)
        return false;

    const double scale = canvas.width() / view.width();
    plan.screenRect = {{canvas.minX() + scale * (plan.screenRect.minX() - view.minX()),
                        canvas.minY() + scale * (plan.screenRect.minY() - view.minY())},
                       {scale * plan.screenRect.width(), scale * plan.screenRect.height()}};
    const double shorterSide = std::min(plan.screenRect.width(), plan.screenRect.height());
    plan.cornerRadius = std::min(std::max(plan.cornerRadius * scale, 0.0), 0.5 * shorterSide);
    shadowRadius = std::max(shadowRadius * scale, 0.0);
    return true;
}

std::optional<FramePlan::Cursor> planCursor(const FramePlan& plan, const FramePlanInput& input) {
    const CursorConfiguration& configuration = input.configuration->cursor;
    const CursorFrameState& state = input.cursorState;
    const CGRect& screen = plan.screenRect;
    const bool hasRoom = screen.width() > 1 && screen.height() > 1 && input.sourceSize.width > 1 &&
                         input.sourceSize.height > 1;
    if (!configuration.showsCursor || state.visibility != CursorVisibility::visible || !hasRoom)
        return std::nullopt;
    constexpr double leastSize = 0.5;
    const double pixelsPerPointX = screen.width() / std::max(input.captureRegion.width, 1.0);
    const double pixelsPerPointY = screen.height() / std::max(input.captureRegion.height, 1.0);
    FramePlan::Cursor cursor;
    cursor.shape = state.shape;
    cursor.hotSpot = {screen.minX() + state.position.x * screen.width(),
                      screen.minY() + state.position.y * screen.height()};
    cursor.pixelsPerPoint = state.clickScale * std::max(leastSize, configuration.size) *
                            std::min(pixelsPerPointX, pixelsPerPointY);
    return cursor;
}

std::optional<FramePlan::Shadow> visibleShadow(double opacity, double radius) {
    if (!(opacity > kLeastShadow && radius > kLeastShadow)) return std::nullopt;
    return FramePlan::Shadow{opacity, radius, 1};
}

/// The bubble stays where it is while the screen zooms under it.
std::optional<FramePlan::Bubble> planBubble(const FramePlanInput& input) {
    const OverlayConfiguration& configuration = *input.configuration;
    if (!configuration.showsCamera || !input.hasCameraFrame) return std::nullopt;
    FramePlan::Bubble bubble;
    bubble.rect = cameraRect(input.canvas, configuration);
    bubble.cornerRadius = bubbleCornerRadius(bubble.rect, configuration);
    bubble.isMirrored = configuration.isMirrored;
    bubble.shadow = visibleShadow(configuration.overlayShadowOpacity, configuration.overlayShadowRadius);
    bubble.isShadowStill = !configuration.isInteractivelyEditing;
    return bubble;
}

CGRect scaled(const CGRect& rect, double factor) {
    return {{rect.minX() * factor, rect.minY() * factor}, {rect.width() * factor, rect.height() * factor}};
}

}  // namespace

FramePlan makeFramePlan(const FramePlanInput& input) {
    const OverlayConfiguration& configuration = *input.configuration;
    FramePlan plan;
    plan.canvas = input.canvas;
    plan.backgroundStyle = configuration.canvasBackgroundStyle;
    plan.wallpaperPath = configuration.wallpaperPath;
    plan.screenRect = fittedScreenRect(input.canvas, input.sourceSize, configuration);
    plan.hasMask = configuration.canvasBackgroundStyle != CanvasBackgroundStyle::none;
    const double shorterSide = std::min(plan.screenRect.width(), plan.screenRect.height());
    plan.cornerRadius = std::min(std::max(configuration.canvasCornerRadius, 0.0), 0.5 * shorterSide);
    double shadowRadius = configuration.canvasShadowRadius;
    const bool isZoomed = applyZoom(plan, shadowRadius, input);
    if (plan.hasMask) plan.shadow = visibleShadow(configuration.canvasShadowOpacity, shadowRadius);
    plan.isShadowStill = plan.shadow && !isZoomed && !configuration.isInteractivelyEditing;
    plan.cursor = planCursor(plan, input);
    plan.bubble = planBubble(input);
    return plan;
}

FramePlan scaled(const FramePlan& plan, double factor) {
    FramePlan result = plan;
    result.canvas = {plan.canvas.width * factor, plan.canvas.height * factor};
    result.screenRect = scaled(plan.screenRect, factor);
    result.cornerRadius = plan.cornerRadius * factor;
    if (result.shadow) result.shadow->scale *= factor;
    if (result.cursor) {
        result.cursor->hotSpot = {result.cursor->hotSpot.x * factor, result.cursor->hotSpot.y * factor};
        result.cursor->pixelsPerPoint *= factor;
    }
    if (result.bubble) {
        result.bubble->rect = scaled(plan.bubble->rect, factor);
        result.bubble->cornerRadius *= factor;
        if (result.bubble->shadow) result.bubble->shadow->scale *= factor;
    }
    return result;
}

CGRect flipped(const CGRect& rect, double canvasHeight) {
    return {{rect.minX(), canvasHeight - rect.maxY()}, rect.size};
}

double bubbleCornerRadius(const CGRect& rect, const OverlayConfiguration& configuration) {
    constexpr double leastRadius = 8;
    switch (configuration.maskType) {
        case OverlayMaskType::circle:
            return rect.width() * 0.5;
        case OverlayMaskType::roundedRectangle:
            return configuration.cornerRadius > 0
                       ? std::min(configuration.cornerRadius, rect.width() * 0.5)
                       : std::max(rect.width() * configuration.cornerRadiusRatio, leastRadius);
        case OverlayMaskType::square:
            return 0;
    }
    return 0;
}

CGRect cameraRect(CGSize canvas, const OverlayConfiguration& configuration) {
    const double side = std::max(canvas.width * configuration.relativeSize * configuration.scale, 1.0);
    if (configuration.position) {
        return {{canvas.width * configuration.position->x - side / 2,
                 canvas.height * configuration.position->y - side / 2},
                {side, side}};
    }
    const OverlayAnchor anchor = configuration.anchor;
    const bool isRight = anchor == OverlayAnchor::bottomRight || anchor == OverlayAnchor::topRight;
    const bool isTop = anchor == OverlayAnchor::topLeft || anchor == OverlayAnchor::topRight;
    return {{isRight ? canvas.width - side - configuration.padding : configuration.padding,
             isTop ? canvas.height - side - configuration.padding : configuration.padding},
            {side, side}};
}

CGRect fittedScreenRect(CGSize canvas, CGSize sourceSize, const OverlayConfiguration& configuration) {
    CGRect area = canvasRect(canvas);
    if (configuration.canvasBackgroundStyle != CanvasBackgroundStyle::none) {
        const double largest = std::max(kLargestInsetShare * std::min(canvas.width, canvas.height), 0.0);
        const double inset = std::min(largest, std::max(configuration.canvasPadding, 0.0));
        const CGRect insetArea = area.insetBy(inset, inset);
        if (insetArea.width() > 1 && insetArea.height() > 1) area = insetArea;
    }
    if (area.isEmpty()) return area;
    const double aspect = std::max(sourceSize.width / std::max(sourceSize.height, 1.0), 0.001);
    CGSize size{area.width(), area.width() / aspect};
    if (aspect < area.width() / area.height()) size = {area.height() * aspect, area.height()};
    return {{area.midX() - size.width / 2, area.midY() - size.height / 2}, size};
}

CGRect cameraViewRect(const SmoothingCameraSnapshot& snapshot, const CGRect& screenRect, CGSize canvas) {
    const CGRect whole = canvasRect(canvas);
    const double zoom = std::max(kLeastZoom, snapshot.zoomScale);
    if (!std::isfinite(zoom) || zoom <= 1 + kNegligible || !isUsable(whole) || !isUsable(screenRect))
        return whole;
    const CGSize view{canvas.width / zoom, canvas.height / zoom};
    if (view.width <= 1 || view.height <= 1) return whole;
    const auto kept = [](double origin, double low, double high) {
        return std::clamp(origin, low, std::max(low, high));
    };
    const double x = screenRect.minX() + snapshot.focalPoint.x * screenRect.width() - 0.5 * view.width;
    const double y = screenRect.minY() + snapshot.focalPoint.y * screenRect.height() - 0.5 * view.height;
    return {
        {kept(x, whole.minX(), whole.maxX() - view.width), kept(y, whole.minY(), whole.maxY() - view.height)},
        view};
}

}  // namespace varnelle
