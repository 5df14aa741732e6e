#pragma once

#include <Qt>
#include <optional>
#include <variant>

#include "foundation/Geometry.h"

namespace varnelle {

/// The arithmetic of drawing, moving and resizing the rectangle to record. y grows upwards here, unless a
/// name says "view". The *window* has its origin at the bottom left of the screen that it covers, the
/// *screen* is global, with its origin at the bottom left of the primary one.

enum class ResizeHandle { topLeft, top, topRight, right, bottomRight, bottom, bottomLeft, left };

inline constexpr double kMinSelectionSize = 20;          ///< smallest side while resizing, points
inline constexpr double kResizeBorderHitThickness = 12;  ///< largest half-width of the band along the border
inline constexpr double kCornerHitSize = 24;             ///< largest reach of a corner

/// A drag in progress.
struct CreatingInteraction {
    CGPoint startInWindow;
};
struct MovingInteraction {
    CGPoint startInWindow;
    CGRect startRectScreen;
};
struct ResizingInteraction {
    ResizeHandle handle;
    CGPoint startInWindow;
    CGRect startRectScreen;
};
using Interaction = std::variant<CreatingInteraction, MovingInteraction, ResizingInteraction>;

/// A place in a view that covers a screen, from its top left corner with y downwards, in the window's space.
CGPoint windowPoint(CGPoint viewPoint, const CGRect& screenFrame);
/// A rectangle of the screen in such a view, cut to it; empty if nothing of it is there.
CGRect viewRect(const CGRect& screenRect, const CGRect& screenFrame);
CGRect windowRect(const CGRect& screenRect, const CGRect& screenFrame);

/// The handle that lies under a point; both in one space.
std::optional<ResizeHandle> resizeHandle(CGPoint point, const CGRect& rect);
/// What a press at a point begins.
Interaction beginInteraction(CGPoint startInWindow, const std::optional<CGRect>& selectedScreenRect,
                             const CGRect& screenFrame);
/// What a drag makes of the rectangle (in screen space), never reaching beyond the screen; absent while it is
/// too short to draw one.
std::optional<CGRect> draggedRect(const Interaction& interaction, CGPoint pointInWindow,
                                  const CGRect& screenFrame);

/// The cursor of a drag in progress.
Qt::CursorShape cursorOf(const Interaction& interaction);
/// The cursor over a point while nothing is dragged.
Qt::CursorShape hoverCursor(CGPoint pointInWindow, const std::optional<CGRect>& selectedScreenRect,
                            const CGRect& screenFrame);

/// Whether both sides of a rectangle are long enough to be recorded.
bool isLargeEnough(const CGRect& rect);
/// The rectangle to begin with on a screen.
CGRect initialArea(const CGRect& screenFrame);

}  // namespace varnelle
