#include "capture_ui/AreaSelectionGeometry.h"

#include <algorithm>
#include <cmath>

namespace varnelle {
namespace {

constexpr double kHitMarginFraction = 0.45;
constexpr double kSmallestDrag = 2;
constexpr double kInitialInsetX = 0.15;
constexpr double kInitialInsetY = 0.18;

CGRect spanning(CGPoint a, CGPoint b) {
    return {{std::min(a.x, b.x), std::min(a.y, b.y)}, {std::abs(a.x - b.x), std::abs(a.y - b.y)}};
}

bool hasBothSides(const CGRect& rect, double least) {
    return rect.width() >= least && rect.height() >= least;
}

std::optional<CGRect> created(CGPoint startInWindow, CGPoint pointInWindow, const CGRect& screen) {
    const CGRect drawn = spanning(startInWindow, pointInWindow);
    if (!hasBothSides(drawn, kSmallestDrag)) return std::nullopt;
    const CGRect onScreen = drawn.offsetBy(screen.minX(), screen.minY()).intersection(screen);
    if (!hasBothSides(onScreen, kSmallestDrag)) return std::nullopt;
    return onScreen;
}

CGRect moved(const CGRect& start, CGPoint offset, const CGRect& screen) {
    const CGSize size{std::min(start.width(), screen.width()), std::min(start.height(), screen.height())};
    const double x = std::min(std::max(start.minX() + offset.x, screen.minX()), screen.maxX() - size.width);
    const double y = std::min(std::max(start.minY() + offset.y, screen.minY()), screen.maxY() - size.height);
    return {{x, y}, size};
}

bool isAtLeft(ResizeHandle handle) {
    return handle == ResizeHandle::topLeft || handle == ResizeHandle::left ||
           handle == ResizeHandle::bottomLeft;
}

bool isAtRight(ResizeHandle handle) {
    return handle == ResizeHandle::topRight || handle == ResizeHandle::right ||
           handle == ResizeHandle::bottomRight;
}

bool isAtBottom(ResizeHandle handle) {
    return handle == ResizeHandle::bottomRight || handle == ResizeHandle::bottom ||
           handle == ResizeHandle::bottomLeft;
}

bool isAtTop(ResizeHandle handle) {
    return handle == ResizeHandle::topLeft || handle == ResizeHandle::top || handle == ResizeHandle::topRight;
}

CGRect resized(ResizeHandle handle, const CGRect& start, CGPoint offset, const CGRect& screen) {
    double left = start.minX();
    double right = start.maxX();
    double bottom = start.minY();
    double top = start.maxY();
    if (isAtLeft(handle))
        left = std::min(std::max(left + offset.x, screen.minX()), right - kMinSelectionSize);
    if (isAtRight(handle))
        right = std::max(std::min(right + offset.x, screen.maxX()), left + kMinSelectionSize);
    if (isAtBottom(handle))
        bottom = std::min(std::max(bottom + offset.y, screen.minY()), top - kMinSelectionSize);
    if (isAtTop(handle)) top = std::max(std::min(top + offset.y, screen.maxY()), bottom + kMinSelectionSize);
    return CGRect{{left, bottom}, {right - left, top - bottom}}.standardized();
}

Qt::CursorShape resizeCursor(ResizeHandle handle) {
    switch (handle) {
        case ResizeHandle::topLeft:
        case ResizeHandle::bottomRight:
            return Qt::SizeFDiagCursor;
        case ResizeHandle::topRight:
        case ResizeHandle::bottomLeft:
            return Qt::SizeBDiagCursor;
        case ResizeHandle::top:
        case ResizeHandle::bottom:
            return Qt::SizeVerCursor;
        case ResizeHandle::left:
        case ResizeHandle::right:
            break;
    }
    return Qt::SizeHorCursor;
}

CGPoint difference(CGPoint a, CGPoint b) {
    return {a.x - b.x, a.y - b.y};
}

}  // namespace

CGPoint windowPoint(CGPoint viewPoint, const CGRect& screenFrame) {
    return {viewPoint.x, screenFrame.height() - viewPoint.y};
}

CGRect windowRect(const CGRect& screenRect, const CGRect& screenFrame) {
    return screenRect.standardized().offsetBy(-screenFrame.minX(), -screenFrame.minY());
}

CGRect viewRect(const CGRect& screenRect, const CGRect& screenFrame) {
    const CGRect inWindow = windowRect(screenRect, screenFrame);
    const CGRect flipped{{inWindow.minX(), screenFrame.height() - inWindow.maxY()}, inWindow.size};
    return flipped.intersection({{0, 0}, screenFrame.size});
}

std::optional<ResizeHandle> resizeHandle(CGPoint point, const CGRect& rect) {
    const double margin = kHitMarginFraction * std::min(rect.width(), rect.height());
    const double band = std::clamp(margin, 0.0, kResizeBorderHitThickness);
    if (!(band > 0)) return std::nullopt;
    if (!rect.insetBy(-band, -band).contains(point) || rect.insetBy(band, band).contains(point)) {
        return std::nullopt;
    }
    const double reach = std::min(2 * margin, kCornerHitSize);
    const double toLeft = std::abs(point.x - rect.minX());
    const double toRight = std::abs(point.x - rect.maxX());
    const double toTop = std::abs(point.y - rect.maxY());
    const double toBottom = std::abs(point.y - rect.minY());
    const bool isNearCorner = std::min(toLeft, toRight) <= reach && std::min(toTop, toBottom) <= reach;
    // On small rectangles a point is within the band of both sides: the first one asked for wins.
    if (toTop <= band) {
        if (toLeft <= band && isNearCorner) return ResizeHandle::topLeft;
        if (toRight <= band && isNearCorner) return ResizeHandle::topRight;
        return ResizeHandle::top;
    }
    if (toBottom <= band) {
        if (toRight <= band && isNearCorner) return ResizeHandle::bottomRight;
        if (toLeft <= band && isNearCorner) return ResizeHandle::bottomLeft;
        return ResizeHandle::bottom;
    }
    if (toLeft <= band) return ResizeHandle::left;
    if (toRight <= band) return ResizeHandle::right;
    return std::nullopt;
}

Interaction beginInteraction(CGPoint startInWindow, const std::optional<CGRect>& selectedScreenRect,
                             const CGRect& screenFrame) {
    if (!selectedScreenRect) return CreatingInteraction{startInWindow};
    const CGRect inWindow = windowRect(*selectedScreenRect, screenFrame);
    if (const auto handle = resizeHandle(startInWindow, inWindow)) {
        return ResizingInteraction{*handle, startInWindow, *selectedScreenRect};
    }
    if (inWindow.contains(startInWindow)) return MovingInteraction{startInWindow, *selectedScreenRect};
    return CreatingInteraction{startInWindow};
}

std::optional<CGRect> draggedRect(const Interaction& interaction, CGPoint pointInWindow,
                                  const CGRect& screenFrame) {
    if (const auto* creating = std::get_if<CreatingInteraction>(&interaction)) {
        return created(creating->startInWindow, pointInWindow, screenFrame);
    }
    if (const auto* moving = std::get_if<MovingInteraction>(&interaction)) {
        return moved(moving->startRectScreen, difference(pointInWindow, moving->startInWindow), screenFrame);
    }
    const auto& resizing = std::get<ResizingInteraction>(interaction);
    return resized(resizing.handle, resizing.startRectScreen,
                   difference(pointInWindow, resizing.startInWindow), screenFrame);
}

Qt::CursorShape cursorOf(const Interaction& interaction) {
    if (const auto* resizing = std::get_if<ResizingInteraction>(&interaction)) {
        return resizeCursor(resizing->handle);
    }
    return std::holds_alternative<MovingInteraction>(interaction) ? Qt::ClosedHandCursor : Qt::CrossCursor;
}

Qt::CursorShape hoverCursor(CGPoint pointInWindow, const std::optional<CGRect>& selectedScreenRect,
                            const CGRect& screenFrame) {
    if (!selectedScreenRect) return Qt::CrossCursor;
    const CGRect inWindow = windowRect(*selectedScreenRect, screenFrame);
    if (const auto handle = resizeHandle(pointInWindow, inWindow)) return resizeCursor(*handle);
    return inWindow.contains(pointInWindow) ? Qt::OpenHandCursor : Qt::CrossCursor;
}

bool isLargeEnough(const CGRect& rect) {
    return hasBothSides(rect, kMinSelectionSize);
}

CGRect initialArea(const CGRect& screenFrame) {
    return screenFrame.insetBy(kInitialInsetX * screenFrame.width(), kInitialInsetY * screenFrame.height());
}

}  // namespace varnelle
